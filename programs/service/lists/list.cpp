#include "service/lists/list.h"

#include "service/base/failure.h"
#include "service/lists/tables.h"
#include "tonvale/webapi.h"
#include "varn/database.h"
#include "varn/number.h"
#include "varn/sql.h"

namespace tonvale_service {

namespace {

using Tonvale::webapi::playlist::EscapedKeyword;
using Tonvale::webapi::playlist::ListTrackCondition;

// In bytes. The library takes 1023 for the condition of an artist's name, and a name's own marks
// double; texts that are looked for within others cost the most. No tag is longer than a filter.
constexpr std::size_t kLongestNeedle = 400;
constexpr std::size_t kLongestFilter = 4096;

// The library leaves a condition open after a text that cannot be escaped.
std::pair<bool, std::string> Given(const std::optional<std::string> &value) {
    if (value && value->size() > kLongestFilter) {
        throw Failure(Reason::kFiltersTooLong);
    }
    if (value && EscapedKeyword(*value).Get() == nullptr) {
        throw Failure(Reason::kNotUtf8);
    }
    return {value.has_value(), value.value_or("")};
}

}  // namespace

std::string Condition(const Filters &filters) {
    ListTrackCondition tags;
    tags.album = Given(filters.album);
    tags.albumArtist = Given(filters.albumArtist);
    tags.artist = Given(filters.artist);
    tags.composer = Given(filters.composer);
    tags.genre = Given(filters.genre);
    std::string condition = tags.GetConditionString();
    if (filters.title) {
        AddCondition(condition, varn::Sql("title ILIKE '%%@VARN:LVAR%%'", Needle(*filters.title)));
    }
    return condition;
}

const std::string &Needle(const std::string &text) {
    if (text.size() > kLongestNeedle) {
        throw Failure(Reason::kNameTooLong, text);
    }
    return text;
}

void AddCondition(std::string &condition, const std::optional<std::string> &part) {
    condition += (condition.empty() ? "" : " AND ") + Made(part);
}

std::vector<std::string> Names(std::span<const SortColumn> columns) {
    std::vector<std::string> names;
    for (const SortColumn &column : columns) {
        names.emplace_back(column.name);
    }
    return names;
}

const SortColumn &ChosenColumn(const ListRequest &request, std::span<const SortColumn> columns) {
    if (request.sortBy.empty()) {
        return columns.front();
    }
    for (const SortColumn &column : columns) {
        if (request.sortBy == column.name) {
            return column;
        }
    }
    throw Failure(Reason::kUnknownSortKey, request.sortBy);
}

std::string Expression(const SortColumn &sort) {
    const bool isCollated = sort.isText && Tonvale::webapi::WebapiLibrary::IsCollationSortNeeded();
    return sort.column + std::string(isCollated ? " COLLATE \"en_US_varnel\"" : "");
}

const char *Direction(const ListRequest &request) {
    return request.descending ? "DESC" : "ASC";
}

std::string FieldOf(const Tonvale::MediaHandle &rows, int row, const char *column) {
    return varn::Row(rows->result, row).TextIfAny(column);
}

int64_t NumberOf(const Tonvale::MediaHandle &rows, int row, const char *column) {
    return varn::LeadingNumber<int64_t>(FieldOf(rows, row, column));
}

void NoAnswer() {
    throw Failure(Reason::kLibraryAway);
}

}  // namespace tonvale_service
