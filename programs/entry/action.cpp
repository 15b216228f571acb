#include "action.h"

#include <stdio_ext.h>
#include <syslog.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <exception>

#include "bad_value.h"
#include "list_version.h"
#include "login.h"
#include "rights.h"
#include "service/base/wording.h"
#include "tonvale/pins.h"
#include "turn.h"
#include "varn/db.h"
#include "worker.h"

namespace tonvale_entry {

namespace {

constexpr int kVersion = 1;

const auto &Apis() {
    // One a line, in order.
    // clang-format off
    static constexpr std::array apis = {
        &kAlbumApi,
        &kArtistApi,
        &kAuthApi,
        &kBookmarkApi,
        &kComposerApi,
        &kCoverApi,
        &kDescriptionApi,
        &kDownloadApi,
        &kEventsApi,
        &kFavouriteApi,
        &kFolderApi,
        &kGenreApi,
        &kIndexApi,
        &kInfoApi,
        &kMediaServerApi,
        &kPinApi,
        &kPlayApi,
        &kPlayerApi,
        &kPlaylistApi,
        &kQueueApi,
        &kRadioApi,
        &kSearchApi,
        &kSettingApi,
        &kSharingApi,
        &kSharingPageApi,
        &kSongApi,
        &kStreamApi,
        &kUserApi,
    };
    // clang-format on
    return apis;
}

constexpr Meaning kMeanings[] = {
    {Code::kNoSuchApi, "there is no such API"},
    {Code::kBadParameter, "a parameter is missing or bad"},
    {Code::kNotLoggedIn, "that takes a login"},
    {Code::kNotPermitted, "that is not permitted"},
    {Code::kNoSuchItem, "there is no such item"},
    {Code::kNoSuchMethod,
     "there is no such method, or not in this version or for this HTTP method"},
    {Code::kExistsAlready, "it exists already"},
    {Code::kTooMany, "that was tried too often; wait before the next time"},
    {Code::kFailed, tonvale_service::kThatFailed},
    {Code::kBusy, tonvale_service::kServerIsBusy},
    {Code::kTookTooLong, "that took too long; ask for less, or later"},
};

Json::Value RefusalReply(ActionHandler &handler, const Refusal &refusal, Code code) {
    Json::Value reply(Json::objectValue);
    handler.SetWebapiFormatError(reply, static_cast<int>(code));
    reply["error"]["message"] = SentenceOf(refusal, code);
    if (code == refusal.code && !refusal.parameter.empty()) {
        reply["error"]["parameter"] = refusal.parameter;
    }
    return reply;
}

// The plain code that has the same HTTP status as a pin's own code.
Code PlainCode(Code code) {
    switch (static_cast<int>(code)) {
        case Tonvale::PIN_ERROR_PARAMETER:
        case Tonvale::PIN_ERROR_TYPE:
        case Tonvale::PIN_ERROR_CRITERIA:
            return Code::kBadParameter;
        case Tonvale::PIN_ERROR_EXISTS:
            return Code::kExistsAlready;
        case Tonvale::PIN_ERROR_NOT_FOUND:
        case Tonvale::PIN_ERROR_FOLDER:
        case Tonvale::PIN_ERROR_PLAYLIST:
            return Code::kNoSuchItem;
        default:
            return code;
    }
}

// The first value of a parameter, as it stands in a query.
std::string_view RawValue(std::string_view query, std::string_view name) {
    while (!query.empty()) {
        const std::string_view pair = query.substr(0, query.find('&'));
        if (pair.size() > name.size() && pair.starts_with(name) && pair[name.size()] == '=') {
            return pair.substr(name.size() + 1);
        }
        query.remove_prefix(std::min(pair.size() + 1, query.size()));
    }
    return {};
}

// True when the client wants the HTTP status to tell of a refusal.
bool WantsStatus() {
    return RawValue(Variable("QUERY_STRING"), "status") == "http" ||
           Variable("HTTP_ACCEPT").find("status=http") != std::string::npos;
}

// A refusal of data has the status 200, unless the system failed or the client wants the HTTP
// status to tell of it.
bool Refuse(ActionHandler &handler, const Refusal &refused, bool isMedia) {
    const Code code = CodeForClient(refused.code);
    const std::string header = std::string(StatusOf(PlainCode(code))) +
                               (code == Code::kNotLoggedIn ? LoginChallenge() : "") + kJsonType;
    const bool hasStatus = isMedia || code == Code::kBusy || code == Code::kTookTooLong ||
                           code == Code::kNotLoggedIn || code == Code::kTooMany || WantsStatus();
    return handler.PrintResponse(RefusalReply(handler, refused, code),
                                 hasStatus ? header.c_str() : nullptr);
}

const Api *FindApi(std::string_view name) {
    const auto apis = AllApis();
    const auto found = std::find_if(apis.begin(), apis.end(),
                                    [&](const Api *known) { return known->name == name; });
    return found != apis.end() ? *found : nullptr;
}

const Method *FindMethod(const Api &api, std::string_view name) {
    const auto found = std::find_if(api.methods.begin(), api.methods.end(),
                                    [&](const Method &known) { return known.name == name; });
    return found != api.methods.end() ? &*found : nullptr;
}

// Throws a Refusal when the user may not call the method.
void CheckLogin(Request &request, const Api *api, const Method *method) {
    if ((api != nullptr && api->isPublic) || (method != nullptr && !method->needsLogin)) {
        return;
    }
    request.SignIn();
    if (!request.IsLoggedIn()) {
        throw Refusal{Code::kNotLoggedIn};
    }
    if (request.Rights() == 0) {
        throw Refusal{Code::kNotPermitted, "", "this user may not use the server"};
    }
    const bool isKey = request.ProvedBy() == tonvale_service::Proof::kKey;
    if (isKey && method != nullptr && !method->takesKey) {
        throw Refusal{Code::kNotPermitted, "", kNotByKey};
    }
}

// Does the work of a request. Gives a refusal to `refused`, and a failure of the service layer as
// the refusal that it means.
template <typename Work, typename Refused>
bool Try(const Request &asked, const Work &work, const Refused &refused) {
    try {
        return work();
    } catch (const Refusal &refusal) {
        return refused(refusal);
    } catch (const tonvale_service::Failure &failure) {
        Refusal refusal = RefusalOf(failure);
        refusal.parameter = ParameterOf(failure, asked);
        return refused(refusal);
    }
}

}  // namespace

std::span<const Api *const> AllApis() {
    return Apis();
}

std::span<const Meaning> AllCodes() {
    return kMeanings;
}

void CheckDatabase() {
    if (VARNDBTroubleGet() != VARNDB_NO_TROUBLE) {
        throw Refusal{Code::kFailed};
    }
}

Code CodeForClient(Code code) {
    switch (VARNDBTroubleGet()) {
        case VARNDB_UNREACHABLE:
            return Code::kBusy;
        case VARNDB_CANCELLED:
            return Code::kTookTooLong;
        case VARNDB_NO_TROUBLE:
            break;
    }
    return code;
}

std::string SentenceOf(const Refusal &refusal, Code code) {
    if (code == refusal.code && !refusal.message.empty()) {
        return refusal.message;
    }
    if (code == Code::kBadParameter && !refusal.parameter.empty()) {
        return "the parameter '" + refusal.parameter + "' is missing or bad";
    }
    const auto *const found =
        std::find_if(std::begin(kMeanings), std::end(kMeanings),
                     [&](const Meaning &meaning) { return meaning.code == code; });
    return found != std::end(kMeanings) ? found->sentence : "";
}

const char *StatusOf(Code code) {
    switch (code) {
        case Code::kBadParameter:
            return "Status: 400 Bad Request\r\n";
        case Code::kNotLoggedIn:
            return "Status: 401 Unauthorized\r\n";
        case Code::kNotPermitted:
            return "Status: 403 Forbidden\r\n";
        case Code::kNoSuchApi:
        case Code::kNoSuchItem:
            return "Status: 404 Not Found\r\n";
        case Code::kNoSuchMethod:
            return "Status: 405 Method Not Allowed\r\nAllow: GET, HEAD, POST\r\n";
        case Code::kExistsAlready:
            return "Status: 409 Conflict\r\n";
        case Code::kTooMany:
            return "Status: 429 Too Many Requests\r\nRetry-After: 10\r\n";
        case Code::kBusy:
            return "Status: 503 Service Unavailable\r\nRetry-After: 5\r\n";
        case Code::kTookTooLong:
            return "Status: 504 Gateway Timeout\r\n";
        default:
            return "Status: 500 Internal Server Error\r\n";
    }
}

Refusal RefusalOf(const tonvale_service::Failure &failure) {
    using tonvale_service::FailureClass;
    const auto code = [&] {
        if (failure.Why() == tonvale_service::Reason::kTooManyAttempts) {
            return Code::kTooMany;
        }
        switch (failure.Class()) {
            case FailureClass::kBadValue:
                return Code::kBadParameter;
            case FailureClass::kNotPermitted:
                return Code::kNotPermitted;
            case FailureClass::kNotFound:
                return Code::kNoSuchItem;
            case FailureClass::kExists:
                return Code::kExistsAlready;
            case FailureClass::kBusy:
                return Code::kBusy;
            case FailureClass::kFailed:
                break;
        }
        return Code::kFailed;
    };
    return {code(), "", tonvale_service::WhatFailed(failure)};
}

bool DataAction::Process() {
    Json::Value reply(Json::objectValue);
    return Try(
        request_,
        [&] {
            reply["data"] = data_(request_);
            CheckDatabase();
            GiveUpRights();
            SetSuccess(reply, true);
            const std::string &fields = request_.Fields();
            return PrintResponse(reply, fields.empty() ? nullptr : (kJsonType + fields).c_str());
        },
        [&](const Refusal &why) { return Refuse(*this, why, false); });
}

bool ListAction::Process() {
    std::unique_ptr<tonvale_service::Page> page;
    std::string text = "{\"data\":";
    Refusal refusal{Code::kFailed};
    std::string header;
    if (HasList(request_, header)) {
        EndIfRoot();
        WebMan(false).WriteHeader(header.c_str());
        return std::fflush(stdout) == 0;
    }
    // Reads everything before it writes, and tells the length: if a worker dies in the middle, the
    // web server breaks the answer off, and no client takes a part for the whole.
    const bool isThere = Try(
        request_,
        [&] {
            page = open_(request_);
            WritePage(*page, tonvale_service::Letters::kAscii, [&](const std::string &part) {
                text += part;
                return true;
            });
            CheckDatabase();
            GiveUpRights();
            return true;
        },
        [&](const Refusal &why) {
            refusal = why;
            return false;
        });
    if (!isThere) {
        return Refuse(*this, refusal, false);
    }
    text += ",\"success\":true}\n";
    header = ListHeader(request_, page->Shows()) +
             "Content-Length: " + std::to_string(text.size()) + "\r\n";
    WebMan(false).WriteHeader(header.c_str());
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() &&
           std::fflush(stdout) == 0;
}

bool MediaAction::Process() {
    try {
        return Try(
            request_, [&] { return Send(); },
            [&](const Refusal &why) { return Refuse(*this, why, true); });
    } catch (const std::exception &error) {
        syslog(LOG_ERR, "A media answer failed: %s", error.what());
        // Standard output has no buffer before the first byte.
        return __fbufsize(stdout) == 0 && Refuse(*this, {Code::kFailed}, true);
    }
}

bool RefusedAction::Process() {
    return Refuse(*this, refusal_, isMedia_);
}

std::unique_ptr<ActionHandler> FindAction(Request &request) {
    const Api *const api = FindApi(request.Text("api"));
    const Method *const method =
        api != nullptr ? FindMethod(*api, request.Text("method")) : nullptr;
    const auto refused = [&](const Refusal &refusal) {
        return std::make_unique<RefusedAction>(refusal, method != nullptr && method->isMedia);
    };
    try {
        CheckLogin(request, api, method);
    } catch (const Refusal &refusal) {
        return refused(refusal);
    }
    if (api == nullptr) {
        return refused({Code::kNoSuchApi});
    }
    if (method == nullptr || request.Text("version") != std::to_string(kVersion)) {
        return std::make_unique<RefusedAction>(Refusal{Code::kNoSuchMethod});
    }
    if (method->changes && request.WantsHeaderOnly()) {
        return refused({Code::kNoSuchMethod});
    }
    if ((method->changes || method->asksElsewhere) && request.IsFromElsewhere()) {
        return refused({Code::kNotPermitted, "", kOwnPagesAlone});
    }
    if (method->lasts || method->asksElsewhere) {
        LeaveWorker();
    }
    try {
        TakeTurn(request, method->asksElsewhere ? Work::kElsewhere : Work::kShort);
    } catch (const Refusal &refusal) {
        return refused(refusal);
    }
    if (method->changes && !IsWorker()) {
        // The change is finished even if the client leaves or the server ends (SIGTERM).
        std::signal(SIGTERM, SIG_IGN);
    }
    if (!method->takesRoot) {
        GiveUpRights();
    }
    return method->make(request);
}

RefusedAction RefuseUnread(std::string_view query, const Refusal &refusal) {
    const Api *const api = FindApi(RawValue(query, "api"));
    const Method *const method =
        api != nullptr ? FindMethod(*api, RawValue(query, "method")) : nullptr;
    return RefusedAction(
        refusal, refusal.code != Code::kNoSuchMethod && method != nullptr && method->isMedia);
}

}  // namespace tonvale_entry
