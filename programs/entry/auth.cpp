// VARN.Tonvale.Auth: sessions.
#include <climits>

#include "action.h"
#include "login.h"
#include "service/sessions.h"
#include "service/settings.h"

namespace tonvale_entry {

namespace {

using tonvale_service::Proof;

Json::Value LogIn(const Request &asked) {
    // The password stands in the form: logs have addresses.
    if (!asked.IsPost()) {
        throw Refusal{Code::kNoSuchMethod};
    }
    if (Variable("QUERY_STRING").find("password=") != std::string::npos) {
        throw Refusal{Code::kBadParameter};
    }
    const std::string name = asked.RequiredText("name");
    const std::string password = asked.RequiredText("password");
    const auto known = asked.From().ByPassword(name, password);
    if (known.standing != tonvale_service::Standing::kKnown) {
        throw Refusal{Code::kNotLoggedIn};
    }
    asked.AddField(SessionField(tonvale_service::NewSession(
        known.who.uid, known.who.name, asked.From().Agent(), asked.From().Address())));
    Json::Value data(Json::objectValue);
    data["name"] = known.who.name;
    data["is_administrator"] = tonvale_service::IsAdministrator(known.who.name);
    return data;
}

// 0 for a request that is in none.
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

constexpr Method kMethods[] = {
    {.name = "login", .make = Make<LogIn>, .changes = true, .lasts = true, .needsLogin = false},
    {"logout", Make<LogOut>, kChanges},
    {"sessions", Make<Sessions>},
    {.name = "end", .make = Make<End>, .changes = true, .takesKey = false},
};

}  // namespace

const Api kAuthApi{"VARN.Tonvale.Auth", kMethods};

}  // namespace tonvale_entry
