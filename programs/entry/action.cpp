#include "action.h"

#include <algorithm>
#include <array>

namespace tonvale_entry {

namespace {

constexpr int kVersion = 1;

const auto &Apis() {
    static const std::array apis = {&kInfoApi, &kSongApi, &kStreamApi};
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

}  // namespace

bool Action::Process() {
    Json::Value reply(Json::objectValue);
    try {
        reply["data"] = Data();
        SetSuccess(reply, true);
    } catch (const Refusal &refusal) {
        reply = RefusalReply(*this, refusal.code);
    }
    return PrintResponse(reply, nullptr);
}

bool MediaAction::Process() {
    try {
        return Send();
    } catch (const Refusal &refusal) {
        const std::string header =
            std::string(StatusOf(refusal.code)) + "Content-Type: application/json; charset=utf-8";
        return PrintResponse(RefusalReply(*this, refusal.code), header.c_str());
    }
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
