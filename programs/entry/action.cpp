#include "action.h"

#include <stdio_ext.h>
#include <syslog.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <exception>

#include "rights.h"
#include "turn.h"
#include "varn/db.h"

namespace tonvale_entry {

namespace {

constexpr int kVersion = 1;

const auto &Apis() {
    // One a line, in order.
    // clang-format off
    static const std::array apis = {
        &kAlbumApi,
        &kArtistApi,
        &kComposerApi,
        &kCoverApi,
        &kFolderApi,
        &kGenreApi,
        &kInfoApi,
        &kMediaServerApi,
        &kPinApi,
        &kPlayerApi,
        &kPlaylistApi,
        &kSearchApi,
        &kSettingApi,
        &kSharingApi,
        &kSharingPageApi,
        &kSongApi,
        &kStreamApi,
    };
    // clang-format on
    return apis;
}

Json::Value RefusalReply(ActionHandler &handler, Code code) {
    Json::Value reply(Json::objectValue);
    handler.SetWebapiFormatError(reply, static_cast<int>(code));
    return reply;
}

// A refusal of data has the status 200, unless it is the system's and not the request's.
bool Refuse(ActionHandler &handler, Code refused, bool isMedia) {
    const Code code = CodeForClient(refused);
    const std::string header =
        std::string(StatusOf(code)) + "Content-Type: application/json; charset=utf-8";
    const bool hasStatus = isMedia || code == Code::kBusy || code == Code::kTookTooLong;
    return handler.PrintResponse(RefusalReply(handler, code), hasStatus ? header.c_str() : nullptr);
}

const Api *FindApi(std::string_view name) {
    const auto found = std::find_if(Apis().begin(), Apis().end(),
                                    [&](const Api *known) { return known->name == name; });
    return found != Apis().end() ? *found : nullptr;
}

const Method *FindMethod(const Api &api, std::string_view name) {
    const auto found = std::find_if(api.methods.begin(), api.methods.end(),
                                    [&](const Method &known) { return known.name == name; });
    return found != api.methods.end() ? &*found : nullptr;
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

// Does the work; a refusal, and a failure of the service layer as the refusal that it is, goes to
// `refused`.
template <typename Work, typename Refused>
bool Try(const Work &work, const Refused &refused) {
    try {
        return work();
    } catch (const Refusal &refusal) {
        return refused(refusal.code);
    } catch (const tonvale_service::Failure &failure) {
        return refused(RefusalOf(failure).code);
    }
}

}  // namespace

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

const char *StatusOf(Code code) {
    switch (code) {
        case Code::kBadParameter:
            return "Status: 400 Bad Request\r\n";
        case Code::kNotPermitted:
            return "Status: 403 Forbidden\r\n";
        case Code::kNoSuchItem:
            return "Status: 404 Not Found\r\n";
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
    switch (failure.Class()) {
        case FailureClass::kBadValue:
            return {Code::kBadParameter};
        case FailureClass::kNotPermitted:
            return {Code::kNotPermitted};
        case FailureClass::kNotFound:
            return {Code::kNoSuchItem};
        case FailureClass::kExists:
            return {Code::kExistsAlready};
        case FailureClass::kBusy:
            return {Code::kBusy};
        case FailureClass::kFailed:
            break;
    }
    return {Code::kFailed};
}

bool DataAction::Process() {
    Json::Value reply(Json::objectValue);
    return Try(
        [&] {
            reply["data"] = data_(request_);
            CheckDatabase();
            GiveUpRights();
            SetSuccess(reply, true);
            return PrintResponse(reply, nullptr);
        },
        [&](Code code) { return Refuse(*this, code, false); });
}

bool ListAction::Process() {
    std::unique_ptr<tonvale_service::Page> page;
    Json::Value first;
    Code code = Code::kFailed;
    // What fails does so before anything is written, or else breaks the answer off.
    const bool isThere = Try(
        [&] {
            page = open_(request_);
            first = page->Next();
            CheckDatabase();
            return true;
        },
        [&](Code why) {
            code = why;
            return false;
        });
    if (!isThere) {
        return Refuse(*this, code, false);
    }
    EndIfRoot();  // other data is written after root's rights are gone for good
    WebMan(false).WriteHeader(nullptr);
    try {
        if (std::fputs("{\"data\":", stdout) < 0 ||
            !WritePage(*page, std::move(first), tonvale_service::Letters::kAscii, stdout)) {
            return false;
        }
        if (VARNDBTroubleGet() != VARNDB_NO_TROUBLE) {
            syslog(LOG_ERR, "A list is broken off: the database failed");
            return false;
        }
        return std::fputs(",\"success\":true}\n", stdout) >= 0 && std::fflush(stdout) == 0;
    } catch (const std::exception &error) {
        syslog(LOG_ERR, "A list is broken off: %s", error.what());
        return false;
    }
}

bool MediaAction::Process() {
    try {
        return Try([&] { return Send(); }, [&](Code code) { return Refuse(*this, code, true); });
    } catch (const std::exception &error) {
        syslog(LOG_ERR, "A media answer failed: %s", error.what());
        // Standard output gets its buffer with the first byte.
        return __fbufsize(stdout) == 0 && Refuse(*this, Code::kFailed, true);
    }
}

bool RefusedAction::Process() {
    return Refuse(*this, code_, isMedia_);
}

std::unique_ptr<ActionHandler> FindAction(const Request &request) {
    const Api *const api = FindApi(request.Text("api"));
    const Method *const method =
        api != nullptr ? FindMethod(*api, request.Text("method")) : nullptr;
    const auto refused = [&](Code code) {
        return std::make_unique<RefusedAction>(code, method != nullptr && method->isMedia);
    };
    if (api == nullptr) {
        return refused(Code::kNoSuchApi);
    }
    if (!api->isPublic && request.Rights() == 0) {
        return refused(Code::kNotPermitted);
    }
    if (method == nullptr || request.Text("version") != std::to_string(kVersion)) {
        return std::make_unique<RefusedAction>(Code::kNoSuchMethod);
    }
    if (method->changes && request.WantsHeaderOnly()) {
        return refused(Code::kNoSuchMethod);
    }
    if ((method->changes || method->asksElsewhere) && request.IsFromElsewhere()) {
        return refused(Code::kNotPermitted);
    }
    try {
        TakeTurn(request, method->asksElsewhere ? Work::kElsewhere : Work::kShort);
    } catch (const Refusal &refusal) {
        return refused(refusal.code);
    }
    if (method->changes) {
        // The web server ends the handler of a client that leaves, but not a change half-way.
        std::signal(SIGTERM, SIG_IGN);
    }
    if (!method->takesRoot) {
        GiveUpRights();
    }
    return method->make(request);
}

RefusedAction RefuseUnread(std::string_view query, Code code) {
    const Api *const api = FindApi(RawValue(query, "api"));
    const Method *const method =
        api != nullptr ? FindMethod(*api, RawValue(query, "method")) : nullptr;
    return RefusedAction(code, code != Code::kNoSuchMethod && method != nullptr && method->isMedia);
}

}  // namespace tonvale_entry
