#include "service/listening/pins.h"

#include <algorithm>
#include <iterator>

namespace tonvale_service {

namespace {

using namespace Tonvale;

struct Meaning {
    int code;
    Reason reason;
};

constexpr Meaning kMeanings[] = {
    {PIN_ERROR_PARAMETER, Reason::kBadPinValues},
    {PIN_ERROR_TYPE, Reason::kUnknownPinType},
    {PIN_ERROR_CRITERIA, Reason::kBadPinCriteria},
    {PIN_ERROR_EXISTS, Reason::kPinExists},
    {PIN_ERROR_NOT_FOUND, Reason::kNoSuchPin},
    {PIN_ERROR_FOLDER, Reason::kNoSuchPinFolder},
    {PIN_ERROR_PLAYLIST, Reason::kNoSuchPinPlaylist},
    {PIN_ERROR_PREFERENCE_DIR, Reason::kNoPreferenceFolder},
};

Reason ReasonOf(int code) {
    const auto *const known =
        std::find_if(std::begin(kMeanings), std::end(kMeanings),
                     [&](const Meaning &meaning) { return meaning.code == code; });
    return known != std::end(kMeanings) ? known->reason : Reason::kLibraryAway;
}

Json::Value Shown(const PinData &pin) {
    Json::Value shown(Json::objectValue);
    shown["id"] = pin.id;
    shown["type"] = pin.type;
    shown["name"] = pin.name;
    shown["criteria"] = pin.criteria;
    return shown;
}

}  // namespace

PinFailure::PinFailure(int code) : Failure(ReasonOf(code)), code_(code) {}

void Pins::Check(bool done) const {
    if (!done) {
        throw PinFailure(manager_.GetErrorCode());
    }
}

Json::Value Pins::Page(int offset, int limit) {
    const int total = manager_.GetPinTotalByUser();
    Check(total >= 0);
    std::vector<PinData> pins;
    Check(manager_.ListPinByUser(offset, limit, pins));
    Json::Value data(Json::objectValue);
    data["offset"] = offset;
    data["total"] = total;
    Json::Value &list = data["pins"] = Json::Value(Json::arrayValue);
    for (const PinData &pin : pins) {
        list.append(Shown(pin));
    }
    return data;
}

Json::Value Pins::Add(const std::string &type, const Json::Value &criteria,
                      const std::string &name) {
    PinData pin;
    const Json::Value everything(Json::objectValue);
    Check(manager_.Pin(type, criteria.isNull() ? everything : criteria, name, pin));
    return Shown(pin);
}

void Pins::Remove(const std::string &id) {
    Check(manager_.Unpin(id));
}

void Pins::Rename(const std::string &id, const std::string &name) {
    Check(manager_.Rename(id, name));
}

void Pins::Reorder(const std::vector<std::string> &ids, int offset, int limit) {
    Check(manager_.Reorder(ids, offset, limit));
}

}  // namespace tonvale_service
