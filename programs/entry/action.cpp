#include "action.h"

#include <algorithm>
#include <array>

namespace tonvale_entry {

namespace {

constexpr int kVersion = 1;

const auto &Apis() {
    static const std::array apis = {
        // One a line, in order.
        &kCoverApi, &kInfoApi, &kMediaServerApi, &kSongApi, &kStreamApi,
    };
    return apis;
}

Json::Value RefusalReply(ActionHandler &handler, Code code) {
    Json::Value reply(Json::objectValue);
    handler.SetWebapiFormatError(reply, static_cast<int>(code));
    return reply;
}

// The status line, and what else belongs to it, of a refused media answer.
const char *StatusOf(Code code) {
    switch (code) {
        case Code::kBadParameter:
            return "Status: 400 Bad Request\n";
        case Code::kNotPermitted:
            return "Status: 403 Forbidden\n";
        case Code::kNoSuchItem:
            return "Status: 404 Not Found\n";
        case Code::kBusy:
            return "Status: 503 Service Unavailable\nRetry-After: 5\n";
        default:
            return "Status: 500 Internal Server Error\n";
    }
}

// Does the work; a refusal, and a failure of the shared answers as the refusal that it is, goes to
// `refused`.
template <typename Work, typename Refused>
bool Try(const Work &work, const Refused &refused) {
    try {
        return work();
    } catch (const Refusal &refusal) {
        return refused(refusal.code);
    } catch (const tonvale_answers::Failure &failure) {
        return refused(RefusalOf(failure).code);
    }
}

}  // namespace

Refusal RefusalOf(const tonvale_answers::Failure &failure) {
    using tonvale_answers::Reason;
    switch (failure.Why()) {
        case Reason::kBad:
            return {Code::kBadParameter};
        case Reason::kNotPermitted:
            return {Code::kNotPermitted};
        case Reason::kNotFound:
            return {Code::kNoSuchItem};
        case Reason::kExists:
            return {Code::kExistsAlready};
        case Reason::kFailed:
            break;
    }
    return {Code::kFailed};
}

bool Action::Process() {
    Json::Value reply(Json::objectValue);
    Try(
        [&] {
            reply["data"] = Data();
            SetSuccess(reply, true);
            return true;
        },
        [&](Code code) {
            reply = RefusalReply(*this, code);
            return true;
        });
    return PrintResponse(reply, nullptr);
}

bool MediaAction::Process() {
    return Try([&] { return Send(); },
               [&](Code code) {
                   const std::string header = std::string(StatusOf(code)) +
                                              "Content-Type: application/json; charset=utf-8";
                   return PrintResponse(RefusalReply(*this, code), header.c_str());
               });
}

bool RefusedAction::Process() {
    return PrintResponse(RefusalReply(*this, code_), nullptr);
}

std::unique_ptr<ActionHandler> FindAction(const Request &request) {
    const auto refused = [](Code code) { return std::make_unique<RefusedAction>(code); };
    const std::string name = request.Text("api");
    const auto api = std::find_if(Apis().begin(), Apis().end(),
                                  [&](const Api *known) { return known->name == name; });
    if (api == Apis().end()) {
        return refused(Code::kNoSuchApi);
    }
    if (!(*api)->isPublic && request.Rights() == 0) {
        return refused(Code::kNotPermitted);
    }
    const std::string wanted = request.Text("method");
    const auto &methods = (*api)->methods;
    const auto method = std::find_if(methods.begin(), methods.end(),
                                     [&](const Method &known) { return known.name == wanted; });
    if (method == methods.end() || request.Text("version") != std::to_string(kVersion)) {
        return refused(Code::kNoSuchMethod);
    }
    return method->make(request);
}

}  // namespace tonvale_entry
