#include <climits>
#include <iterator>
#include <utility>

#include "pin/operation.h"
#include "pin/source.h"
#include "support/json_text.h"
#include "support/log.h"
#include "support/statement.h"
#include "tonvale/pins.h"
#include "varn/number.h"
#include "varn/sql.h"

namespace Tonvale {

namespace {

using pin::kSource;
using pin::Operation;

constexpr char kById[] = "SELECT * FROM pin WHERE user_id = @VARN:INT AND id = '@VARN:VAR'";
constexpr char kByView[] =
    "SELECT * FROM pin WHERE user_id = @VARN:INT AND type = '@VARN:VAR' AND criteria = "
    "'@VARN:VAR'";
constexpr char kInsert[] =
    "INSERT INTO pin (user_id, type, name, criteria, sort_key) VALUES (@VARN:INT, '@VARN:VAR', "
    "'@VARN:VAR', '@VARN:VAR', @VARN:INT)";
constexpr char kRename[] =
    "UPDATE pin SET name = '@VARN:VAR' WHERE user_id = @VARN:INT AND id = '@VARN:VAR'";

std::string CriteriaText(const Json::Value &criteria) {
    std::string text = support::OneLine(criteria);
    text.pop_back();  // the line feed
    return text;
}

Json::Value ParsedCriteria(const std::string &text) {
    Json::Value criteria;
    return support::Parse(text, criteria) ? criteria : Json::Value();
}

// What a row does not have is empty, as in the records of the media index.
PinData ReadRow(const varn::Row &row) {
    PinData pin;
    pin.id = row.TextIfAny("id");
    pin.type = row.TextIfAny("type");
    pin.name = row.TextIfAny("name");
    pin.user_id = varn::LeadingNumber<int>(row.TextIfAny("user_id"));
    pin.sort_key = varn::LeadingNumber<int>(row.TextIfAny("sort_key"));
    pin.criteria = ParsedCriteria(row.TextIfAny("criteria"));
    return pin;
}

// The pins of a statement's rows, with the stored form of their criteria.
bool ReadStored(PinManager &manager, const std::optional<std::string> &statement,
                std::vector<PinData> &pins, int line = __builtin_LINE()) {
    const auto rows = pin::Run(manager, statement, line);
    if (!rows) {
        return false;
    }
    for (const varn::Row row : *rows) {
        pins.push_back(ReadRow(row));
    }
    return true;
}

// The number in a column of a statement's only row.
bool ReadNumber(PinManager &manager, const std::optional<std::string> &statement,
                const char *column, int &number, int line = __builtin_LINE()) {
    const auto rows = pin::Run(manager, statement, line);
    if (!rows) {
        return false;
    }
    number = varn::LeadingNumber<int>((*rows)[0].TextIfAny(column));  // 0 for the largest of none
    return true;
}

}  // namespace

const std::set<std::string> PinData::ALLOWED_PIN_TYPE = {
    FOLDER, ALBUM, ARTIST, COMPOSER, GENRE, PLAYLIST, RECENTLY_ADDED, RANDOM_100};
const std::set<std::string> PinData::ALLOWED_PIN_CRITERIA = {
    FOLDER, ALBUM, ARTIST, ALBUM_ARTIST, COMPOSER, GENRE, GENRE_FILTER, PLAYLIST};

PinManager::PinManager(unsigned int uid, const std::string &userName) noexcept : uid_(uid) {
    support::Guarded(kSource, [&] { userName_ = userName; });
}

bool PinManager::CheckType(const std::string &type) noexcept {
    return Operation(*this, false, [&] {
        return PinData::ALLOWED_PIN_TYPE.contains(type) || Fail(PIN_ERROR_TYPE);
    });
}

bool PinManager::CheckCriteria(const std::vector<std::string> &keys) noexcept {
    return Operation(*this, false, [&] {
        for (const std::string &key : keys) {
            if (!PinData::ALLOWED_PIN_CRITERIA.contains(key)) {
                return Fail(PIN_ERROR_CRITERIA);
            }
        }
        return true;
    });
}

bool PinManager::Fail(int code) {
    error_ = code;
    return false;
}

bool PinManager::TakeFirst(std::vector<PinData> &pins, PinData &out) {
    if (pins.empty()) {
        return Fail(PIN_ERROR_NOT_FOUND);
    }
    ShowCriteria(pins);
    out = std::move(pins.front());
    return true;
}

int PinManager::GetPinTotalByUser() noexcept {
    return Operation(*this, -1, [&] {
        int total = 0;
        return ReadNumber(*this,
                          "SELECT COUNT(id) FROM pin WHERE user_id = " +
                              std::to_string(static_cast<int>(uid_)),
                          "count", total)
                   ? total
                   : -1;
    });
}

bool PinManager::GetPinByUserId(const std::string &id, PinData &out) noexcept {
    return Operation(*this, false, [&] {
        std::vector<PinData> pins;
        return ReadStored(*this, varn::Sql(kById, static_cast<int>(uid_), id), pins) &&
               TakeFirst(pins, out);
    });
}

bool PinManager::GetPinByUserTypeCriteria(const std::string &type, const std::string &criteriaJson,
                                          PinData &out) noexcept {
    return Operation(*this, false, [&] {
        std::vector<PinData> pins;
        return ReadStored(*this, varn::Sql(kByView, static_cast<int>(uid_), type, criteriaJson),
                          pins) &&
               TakeFirst(pins, out);
    });
}

bool PinManager::ReadPage(int offset, int limit, std::vector<PinData> &pins) {
    return ReadStored(
        *this,
        "SELECT * FROM pin WHERE user_id = " + std::to_string(static_cast<int>(uid_)) +
            " ORDER BY sort_key OFFSET " + std::to_string(offset) + " " +
            (limit < 0 ? "" : "LIMIT " + std::to_string(limit)),
        pins);
}

bool PinManager::ListPinByUser(int offset, int limit, std::vector<PinData> &out) noexcept {
    return Operation(*this, false, [&] {
        std::vector<PinData> page;
        if (!ReadPage(offset, limit, page)) {
            return false;
        }
        ShowCriteria(page);
        out.insert(out.end(), std::make_move_iterator(page.begin()),
                   std::make_move_iterator(page.end()));
        return true;
    });
}

bool PinManager::StoredCriteria(const std::string &type, Json::Value criteria, std::string &text) {
    if (type == PinData::RECENTLY_ADDED || type == PinData::RANDOM_100) {
        text = "{}";
        return true;
    }
    if (!criteria.isObject() && !criteria.isNull()) {
        return Fail(PIN_ERROR_CRITERIA);
    }
    if (!CheckCriteria(criteria.getMemberNames()) ||
        (type == PinData::FOLDER && !ConvertFolderIdToPath(criteria)) ||
        (type == PinData::PLAYLIST && !ConvertPlaylistIdToPath(criteria))) {
        return false;
    }
    text = CriteriaText(criteria);
    return true;
}

bool PinManager::Insert(const std::string &type, const std::string &name,
                        const std::string &criteria) {
    const int user = static_cast<int>(uid_);
    int last = 0;
    if (!ReadNumber(*this,
                    varn::Sql("SELECT MAX(sort_key) FROM pin WHERE user_id = @VARN:INT", user),
                    "max", last)) {
        return false;
    }
    if (last == INT_MAX) {
        LOG_ERROR(kSource, "No place after the pin with sort key %d", last);
        return Fail(PIN_ERROR_DATABASE);
    }
    return pin::Run(*this, varn::Sql(kInsert, user, type, name, criteria, last + 1)).has_value();
}

bool PinManager::Pin(const std::string &type, const Json::Value &criteria, const std::string &name,
                     PinData &out) noexcept {
    return Operation(*this, false, [&] {
        std::string text;
        if (!CheckType(type) || !StoredCriteria(type, criteria, text)) {
            return false;
        }
        PinData pin;
        if (GetPinByUserTypeCriteria(type, text, pin)) {
            return Fail(PIN_ERROR_EXISTS);
        }
        if (error_ != PIN_ERROR_NOT_FOUND) {
            return false;
        }
        error_ = PIN_ERROR_NONE;
        if (!Insert(type, name, text)) {
            return false;
        }
        return GetPinByUserTypeCriteria(type, text, out) || Fail(PIN_ERROR_DATABASE);
    });
}

bool PinManager::Unpin(const std::string &id) noexcept {
    return Operation(*this, false, [&] {
        PinData pin;
        return GetPinByUserId(id, pin) &&
               pin::Run(*this,
                        varn::Sql("DELETE FROM pin WHERE user_id = @VARN:INT AND id = '@VARN:VAR'",
                                  static_cast<int>(uid_), id));
    });
}

bool PinManager::Rename(const std::string &id, const std::string &name) noexcept {
    return Operation(*this, false, [&] {
        PinData pin;
        return GetPinByUserId(id, pin) &&
               pin::Run(*this, varn::Sql(kRename, name, static_cast<int>(uid_), id));
    });
}

}  // namespace Tonvale
