#include "support/boundary.h"
#include "tonvale/action.h"
#include "webapi_utils/source.h"

namespace {

using Tonvale::support::Guarded;
using Tonvale::webapi_utils::kSource;

// A value that members can be set in: one of another kind gives way to an empty object.
Json::Value &AsObject(Json::Value &value) {
    if (!value.isObject()) {
        value = Json::Value(Json::objectValue);
    }
    return value;
}

Json::Value TextOrEmpty(const char *text) {
    return text != nullptr ? Json::Value(text) : Json::Value("");
}

}  // namespace

ActionHandler::ActionHandler() : web_(false) {}

ActionHandler::~ActionHandler() = default;

bool ActionHandler::PrintResponse(Json::Value reply, const char *header) noexcept {
    return Guarded(kSource, false, [&] {
        web_.WriteHeader(header);
        return web_.WriteBody(reply);
    });
}

void ActionHandler::SetSuccess(Json::Value &reply, bool ok) noexcept {
    Guarded(kSource, [&] { AsObject(reply)["success"] = ok; });
}

void ActionHandler::SetWebapiFormatError(Json::Value &reply, int code) noexcept {
    Guarded(kSource, [&] {
        AsObject(AsObject(reply)["error"])["code"] = code;
        reply["success"] = false;
    });
}

void ActionHandler::SetError(Json::Value &reply, const char *section, const char *key,
                             int line) noexcept {
    Guarded(kSource, [&] {
        Json::Value &place = AsObject(AsObject(reply)["errno"]);
        place["section"] = TextOrEmpty(section);
        place["key"] = TextOrEmpty(key);
        place["line"] = line;
    });
}
