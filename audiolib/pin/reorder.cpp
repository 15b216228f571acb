#include <climits>
#include <set>

#include "pin/operation.h"
#include "pin/source.h"
#include "support/log.h"
#include "tonvale/pins.h"
#include "varn/sql.h"

namespace Tonvale {

namespace {

using pin::kSource;
using pin::Operation;

// The statement that numbers the pins from `base` in the order of `ids`; nothing, with a log line,
// when an id cannot go into one or there are not as many numbers.
std::optional<std::string> Renumber(const std::vector<std::string> &ids, int base, unsigned uid) {
    if (ids.size() - 1 > static_cast<std::size_t>(INT_MAX - static_cast<long long>(base))) {
        LOG_ERROR(kSource, "No place for %zu pins from sort key %d", ids.size(), base);
        return std::nullopt;
    }
    std::string cases;
    std::string list;
    for (std::size_t i = 0; i < ids.size(); ++i) {
        const int key = base + static_cast<int>(i);
        const auto branch = varn::Sql("when id = '@VARN:VAR' then @VARN:INT ", ids[i], key);
        if (!branch) {
            LOG_ERROR(kSource, "Failed to escape string [%s] [%ld]", ids[i].c_str(),
                      static_cast<long>(i));
            return std::nullopt;
        }
        const auto id = varn::Sql("'@VARN:VAR'", ids[i]);
        if (!id) {
            LOG_ERROR(kSource, "Failed to escape string [%s]", ids[i].c_str());
            return std::nullopt;
        }
        cases += *branch;
        list += (list.empty() ? "" : ",") + *id;
    }
    const auto user = varn::Sql("@VARN:INT", static_cast<int>(uid));
    if (!user) {
        LOG_ERROR(kSource, "Failed to escape string [%d]", static_cast<int>(uid));
        return std::nullopt;
    }
    return "UPDATE pin SET sort_key = (case " + cases + "end) WHERE user_id = " + *user +
           " AND id in (" + list + ")";
}

bool AreTheSame(const std::vector<std::string> &ids, const std::vector<PinData> &pins) {
    std::set<std::string> listed;
    for (const PinData &pin : pins) {
        listed.insert(pin.id);
    }
    return ids.size() == pins.size() && std::set<std::string>(ids.begin(), ids.end()) == listed;
}

}  // namespace

bool PinManager::Reorder(const std::vector<std::string> &ids, int offset, int limit) noexcept {
    return Operation(*this, false, [&] {
        std::vector<PinData> pins;
        if (!ReadPage(offset, limit, pins)) {
            return false;
        }
        if (!AreTheSame(ids, pins)) {
            return Fail(PIN_ERROR_PARAMETER);
        }
        if (pins.empty()) {
            return true;
        }
        const auto statement = Renumber(ids, pins.front().sort_key, uid_);
        return statement ? pin::Run(*this, statement).has_value() : Fail(PIN_ERROR_DATABASE);
    });
}

}  // namespace Tonvale
