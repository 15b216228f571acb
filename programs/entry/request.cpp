#include "request.h"

#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string_view>

#include "route.h"
#include "service/people/settings.h"
#include "tonvale/settings.h"

namespace tonvale_entry {

namespace {

constexpr std::string_view kForm = "application/x-www-form-urlencoded";
constexpr char kNoForm[] =
    "the body is no form (application/x-www-form-urlencoded) of its announced length and of at "
    "most 1 MiB";

constexpr char kUnreadable[] =
    "a parameter comes twice, is not UTF-8, or has a control character or a bad escape";

// A media type without its parameters, in any case.
bool IsForm(std::string_view type) {
    type = type.substr(0, std::min(type.find(';'), type.size()));
    while (type.ends_with(' ')) {
        type.remove_suffix(1);
    }
    return type.size() == kForm.size() && strncasecmp(type.data(), kForm.data(), kForm.size()) == 0;
}

// The body of a POST. One that ends before its announced length is no request.
std::string ReadForm() {
    const std::string announced = Variable("CONTENT_LENGTH");
    const auto length = announced.empty() ? 0 : ParseNumber(announced, 0, kMostBody);
    if (!length || (*length > 0 && !IsForm(Variable("CONTENT_TYPE")))) {
        throw Refusal{Code::kBadParameter, "", kNoForm};
    }
    std::string body(static_cast<std::size_t>(*length), '\0');
    for (std::size_t place = 0; place < body.size();) {
        const ssize_t got = read(STDIN_FILENO, body.data() + place, body.size() - place);
        if (got == 0 || (got < 0 && errno != EINTR)) {
            throw Refusal{Code::kBadParameter, "", kNoForm};
        }
        place += static_cast<std::size_t>(std::max<ssize_t>(got, 0));
    }
    return body;
}

}  // namespace

std::string Variable(const char *name) {
    const char *value = std::getenv(name);
    return value != nullptr ? value : "";
}

Request Request::Read(Login login, Repeats repeats) {
    const std::string method = Variable("REQUEST_METHOD");
    const bool isPost = method == "POST";
    if (!isPost && method != "GET" && method != "HEAD") {
        throw Refusal{Code::kNoSuchMethod};
    }
    auto parameters = Parameters::Parse(RoutedQuery(), isPost ? ReadForm() : "", repeats);
    return parameters ? Request(std::move(login), *std::move(parameters), method)
                      : throw Refusal{Code::kBadParameter, "", kUnreadable};
}

void Request::CheckWhole() const {
    if (!parameters_.IsWhole()) {
        throw Refusal{Code::kBadParameter, "", kUnreadable};
    }
}

void Request::SignIn() {
    SignIn(login_.Decide());
}

void Request::SignIn(const tonvale_service::SignIn &known) {
    if (known.standing == tonvale_service::Standing::kKnown) {
        user_ = VARN::APIRequest(known.who.uid, known.who.name,
                                 tonvale_service::PreferenceFolder(known.who.name));
        proof_ = known.proof;
        proofId_ = known.who.id;
    }
}

unsigned Request::Rights() const {
    if (!rights_) {
        rights_ = IsLoggedIn() ? AudioUsers::GetUserPermission(user_.GetLoginUserName()) : 0;
    }
    return *rights_;
}

bool Request::IsFromElsewhere() const {
    // Fetch Metadata, which browsers send over TLS and on loopback, is the better witness: a server
    // in between may change Host.
    if (const std::string site = Variable("HTTP_SEC_FETCH_SITE"); !site.empty()) {
        return site != "same-origin";  // a link in a letter is "none"
    }
    if (const std::string origin = Variable("HTTP_ORIGIN"); !origin.empty()) {
        const std::string host = Variable("HTTP_HOST");
        return host.empty() || (strcasecmp(origin.c_str(), ("http://" + host).c_str()) != 0 &&
                                strcasecmp(origin.c_str(), ("https://" + host).c_str()) != 0);
    }
    // The GET of an image over plain HTTP has neither field. Every browser has this name.
    return Variable("HTTP_USER_AGENT").starts_with("Mozilla/");
}

void Request::Require(unsigned right) const {
    if ((Rights() & right) != right) {
        const std::string name = tonvale_service::RightNames(right).front();
        throw Refusal{Code::kNotPermitted, "", "that needs the right '" + name + "'"};
    }
}

void Request::RequireAdministrator() const {
    if (!tonvale_service::IsAdministrator(user_.GetLoginUserName())) {
        throw Refusal{Code::kNotPermitted, "", "that is for administrators"};
    }
}

std::string Request::Text(const std::string &name, const std::string &otherwise) const {
    const std::string *value = parameters_.Find(name);
    return value != nullptr ? *value : otherwise;
}

std::string Request::RequiredText(const std::string &name) const {
    const std::string *value = parameters_.Find(name);
    if (value == nullptr || value->empty()) {
        throw Refusal{Code::kBadParameter, name};
    }
    return *value;
}

std::optional<std::string> Request::Given(const std::string &name) const {
    const std::string *value = parameters_.Find(name);
    return value != nullptr ? std::optional(*value) : std::nullopt;
}

long long Request::Number(const std::string &name, long long otherwise, long long low,
                          long long high) const {
    const std::string *value = parameters_.Find(name);
    if (value == nullptr) {
        return otherwise;
    }
    const auto number = ParseNumber(*value, low, high);
    if (!number) {
        throw Refusal{Code::kBadParameter, name};
    }
    return *number;
}

long long Request::Number(const Parameter &wanted) const {
    const std::string name(wanted.name);
    if (wanted.isRequired) {
        RequiredText(name);
    }
    return Number(name, wanted.usual.empty() ? 0 : *ParseNumber(wanted.usual, LLONG_MIN, LLONG_MAX),
                  wanted.low, wanted.high);
}

std::vector<std::string> Request::Values(const std::string &name, std::size_t most) const {
    auto values = SplitValues(RequiredText(name), most);
    if (!values || values->empty()) {
        throw Refusal{Code::kBadParameter, name};
    }
    return *std::move(values);
}

std::vector<std::string> Request::Names(const std::string &name,
                                        const std::vector<std::string> &known) const {
    auto values = SplitValues(Text(name), kMostValues);
    const auto isKnown = [&](const std::string &value) {
        return std::find(known.begin(), known.end(), value) != known.end();
    };
    if (!values || !std::all_of(values->begin(), values->end(), isKnown)) {
        throw Refusal{Code::kBadParameter, name};
    }
    return *std::move(values);
}

unsigned Request::RightsIn(const std::string &name) const {
    return tonvale_service::MaskOf(Names(name, tonvale_service::RightNames(RIGHT_ALL)));
}

std::string Request::Choice(const std::string &name, const std::vector<std::string> &known,
                            const std::string &otherwise) const {
    const std::string value = Text(name, otherwise);
    if (std::find(known.begin(), known.end(), value) == known.end()) {
        throw Refusal{Code::kBadParameter, name};
    }
    return value;
}

std::string Request::Choice(const Parameter &wanted) const {
    return Choice(std::string(wanted.name), ChoicesOf(wanted), std::string(wanted.usual));
}

bool Request::Flag(const std::string &name) const {
    return Choice(name, {"false", "true"}, "false") == "true";
}

}  // namespace tonvale_entry
