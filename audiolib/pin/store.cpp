#include <json/reader.h>
#include <json/writer.h>

#include <climits>
#include <iterator>
#include <utility>

#include "pin/operation.h"
#include "pin/source.h"
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
constexpr char kPage[] =
    "SELECT * FROM pin WHERE user_id = @VARN:INT ORDER BY sort_key OFFSET @VARN:INT @VARN:NEVAR";
constexpr char kInsert[] =
    "INSERT INTO pin (user_id, type, name, criteria, sort_key) VALUES (@VARN:INT, '@VARN:VAR', "
    "'@VARN:VAR', '@VARN:VAR', @VARN:INT)";
constexpr char kRename[] =
    "UPDATE pin SET name = '@VARN:VAR' WHERE user_id = @VARN:INT AND id = '@VARN:VAR'";

// The compact writer and the lenient reader set the form in which criteria are stored and compared.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

std::string CriteriaText(const Json::Value &criteria) {
    std::string text = Json::FastWriter().write(criteria);
    text.pop_back();  // the writer's line end
    return text;
}

Json::Value ParsedCriteria(const std::string &text) {
    Json::Value criteria;
    try {
        if (Json::Reader().parse(text, criteria)) {
            return criteria;
        }
    } catch (const Json::Exception &) {  // nested too deep
    }
    return Json::Value();
}

#pragma GCC diagnostic pop

PinData ReadRow(const varn::Row &row) {
    PinData pin;
    pin.id = row.Text("id");
    pin.type = row.Text("type");
    pin.name = row.Text("name");
    pin.user_id = static_cast<int>(row.Number("user_id"));
    pin.sort_key = static_cast<int>(row.Number("sort_key"));
    pin.criteria = ParsedCriteria(row.Text("criteria"));
    return pin;
}

std::optional<varn::Rows> Query(DBConnect_tag *conn, const std::optional<std::string> &statement,
                                int line) {
    return conn != nullptr ? support::Execute(kSource, conn, statement, line) : std::nullopt;
}

}  // namespace

const std::set<std::string> PinData::ALLOWED_PIN_TYPE = {
    FOLDER, ALBUM, ARTIST, COMPOSER, GENRE, PLAYLIST, RECENTLY_ADDED, RANDOM_100};
const std::set<std::string> PinData::ALLOWED_PIN_CRITERIA = {
    FOLDER, ALBUM, ARTIST, ALBUM_ARTIST, COMPOSER, GENRE, GENRE_FILTER, PLAYLIST};

PinManager::PinManager(unsigned int uid, const std::string &userName) noexcept : uid_(uid) {
    support::Guarded(kSource, 0, [&] {
        userName_ = userName;
        return 0;
    });
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

bool PinManager::Run(const std::optional<std::string> &statement, int line) {
    return Query(Get(), statement, line) || Fail(PIN_ERROR_DATABASE);
}

bool PinManager::ReadStored(const std::optional<std::string> &statement, std::vector<PinData> &pins,
                            int line) {
    const auto rows = Query(Get(), statement, line);
    if (!rows) {
        return Fail(PIN_ERROR_DATABASE);
    }
    for (const varn::Row row : *rows) {
        pins.push_back(ReadRow(row));
    }
    return true;
}

bool PinManager::ReadNumber(const std::optional<std::string> &statement, const char *column,
                            int &number, int line) {
    const auto rows = Query(Get(), statement, line);
    if (!rows) {
        return Fail(PIN_ERROR_DATABASE);
    }
    number = varn::LeadingNumber<int>((*rows)[0].Text(column));  // 0 for the largest of none
    return true;
}

bool PinManager::ReadOne(const std::optional<std::string> &statement, PinData &out, int line) {
    std::vector<PinData> pins;
    if (!ReadStored(statement, pins, line)) {
        return false;
    }
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
        return ReadNumber(varn::Sql("SELECT COUNT(id) FROM pin WHERE user_id = @VARN:INT",
                                    static_cast<int>(uid_)),
                          "count", total)
                   ? total
                   : -1;
    });
}

bool PinManager::GetPinByUserId(const std::string &id, PinData &out) noexcept {
    return Operation(*this, false,
                     [&] { return ReadOne(varn::Sql(kById, static_cast<int>(uid_), id), out); });
}

bool PinManager::GetPinByUserTypeCriteria(const std::string &type, const std::string &criteriaJson,
                                          PinData &out) noexcept {
    return Operation(*this, false, [&] {
        return ReadOne(varn::Sql(kByView, static_cast<int>(uid_), type, criteriaJson), out);
    });
}

bool PinManager::ReadPage(int offset, int limit, std::vector<PinData> &pins) {
    const std::string limitClause = limit < 0 ? "" : "LIMIT " + std::to_string(limit);
    return ReadStored(varn::Sql(kPage, static_cast<int>(uid_), offset, limitClause), pins);
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
    if (criteria.isNull()) {
        criteria = Json::Value(Json::objectValue);
    }
    if (!criteria.isObject()) {
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
    if (!ReadNumber(varn::Sql("SELECT MAX(sort_key) FROM pin WHERE user_id = @VARN:INT", user),
                    "max", last)) {
        return false;
    }
    if (last == INT_MAX) {
        LOG_ERROR(kSource, "No place behind the pin with sort key %d", last);
        return Fail(PIN_ERROR_DATABASE);
    }
    return Run(varn::Sql(kInsert, user, type, name, criteria, last + 1));
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
               Run(varn::Sql("DELETE FROM pin WHERE user_id = @VARN:INT AND id = '@VARN:VAR'",
                             static_cast<int>(uid_), id));
    });
}

bool PinManager::Rename(const std::string &id, const std::string &name) noexcept {
    return Operation(*this, false, [&] {
        PinData pin;
        return GetPinByUserId(id, pin) && Run(varn::Sql(kRename, name, static_cast<int>(uid_), id));
    });
}

}  // namespace Tonvale
