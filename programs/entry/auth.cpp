// VARN.Tonvale.Auth: sessions.
#include <climits>

#include "action.h"
#include "login.h"
#include "service/people/sessions.h"
#include "service/people/settings.h"

namespace tonvale_entry {

namespace {

using tonvale_service::Proof;

Json::Value LogIn(const Request &asked) {
    // The password comes in the form, because logs keep addresses.
    if (!asked.IsPost()) {
        throw Refusal{Code::kNoSuchMethod};
    }
    if (Variable("QUERY_STRING").find("password=") != std::string::npos) {
        throw Refusal{Code::kBadParameter, "password",
                      "the password stands in the form, not in the address"};
    }
    const std::string name = asked.RequiredText("name");
    const std::string password = asked.RequiredText("password");
    const auto known = asked.From().ByPassword(name, password);
    if (known.standing != tonvale_service::Standing::kKnown) {
        throw Refusal{Code::kNotLoggedIn};
    }
    asked.AddField(SessionField(
        tonvale_service::NewSession(known.who, asked.From().Agent(), asked.From().Address())));
    Json::Value data(Json::objectValue);
    data["name"] = known.who.name;
    data["is_administrator"] = tonvale_service::IsAdministrator(known.who.name);
    return data;
}

// The session that the request came in; 0 without one.
int OwnSession(const Request &asked) {
    return asked.ProvedBy() == Proof::kSession ? asked.ProofId() : 0;
}

Json::Value LogOut(const Request &asked) {
    if (const int own = OwnSession(asked); own != 0) {
        tonvale_service::EndSession(asked.User().GetLoginUID(), own);
    }
    asked.AddField(NoSessionField());
    return Json::Value(Json::objectValue);
}

Json::Value Sessions(const Request &asked) {
    Json::Value list(Json::arrayValue);
    for (const auto &session :
         tonvale_service::SessionsOf(asked.User().GetLoginUID(), asked.User().GetLoginUserName())) {
        Json::Value entry(Json::objectValue);
        entry["id"] = session.id;
        entry["made"] = Json::Int64{session.made};
        entry["last_used"] = Json::Int64{session.lastUsed};
        entry["agent"] = session.agent;
        entry["address"] = session.address;
        entry["is_own"] = session.id == OwnSession(asked);
        list.append(std::move(entry));
    }
    Json::Value data(Json::objectValue);
    data["sessions"] = std::move(list);
    return data;
}

// One, or with id=others all but the request's own.
Json::Value End(const Request &asked) {
    const uid_t uid = asked.User().GetLoginUID();
    if (asked.RequiredText("id") == "others") {
        tonvale_service::EndSessions(uid, OwnSession(asked));
    } else {
        tonvale_service::EndSession(uid, static_cast<int>(asked.Number("id", 0, 1, INT_MAX)));
    }
    return Json::Value(Json::objectValue);
}

constexpr std::array kLoginParameters = {
    Parameter{.name = "name", .what = "The user's name.", .isRequired = true},
    Parameter{.name = "password", .what = "The password, in the form.", .isRequired = true}};
constexpr std::array kEndParameters = {Parameter{.name = "id",
                                                 .what = "The session, or all but this one.",
                                                 .kind = Kind::kNumber,
                                                 .isRequired = true,
                                                 .low = 1,
                                                 .choices = "others"}};

constexpr Method kMethods[] = {
    {.name = "login",
     .make = Make<LogIn>,
     .changes = true,
     .lasts = true,
     .needsLogin = false,
     .summary = "Begin a session, whose cookie comes with the answer; by POST alone",
     .parameters = kLoginParameters,
     .answer = "LoggedIn"},
    {.name = "logout",
     .make = Make<LogOut>,
     .changes = true,
     .summary = "End the session and take its cookie away"},
    {.name = "sessions",
     .make = Make<Sessions>,
     .summary = "The sessions of the user",
     .answer = "Sessions"},
    {.name = "end",
     .make = Make<End>,
     .changes = true,
     .takesKey = false,
     .summary = "End a session of the user, or all others",
     .parameters = kEndParameters},
};

constexpr Field kLoggedIn[] = {{"name", "text"}, {"is_administrator", "flag"}};
constexpr Field kSession[] = {{"id", "number"},
                              {"made", "time"},
                              {"last_used", "time", "seconds since 1970, exact to five minutes"},
                              {"agent", "text", "the User-Agent of its login"},
                              {"address", "text", "the address of its login"},
                              {"is_own", "flag", "it is the session of the request"}};
constexpr Field kSessions[] = {{"sessions", "[Session]"}};
constexpr Schema kSchemas[] = {
    {"LoggedIn", kLoggedIn}, {"Session", kSession}, {"Sessions", kSessions}};

}  // namespace

const Api kAuthApi{.name = "VARN.Tonvale.Auth",
                   .methods = kMethods,
                   .summary = "Logins that last: docs/people.md",
                   .schemas = kSchemas};

}  // namespace tonvale_entry
