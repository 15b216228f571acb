// The order of a song list, from a client's sort key and direction.
#include <strings.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "support/boundary.h"
#include "tonvale/library.h"
#include "tonvale/webapi.h"
#include "varn/base.h"

namespace Tonvale::webapi {

namespace {

using support::Guarded;

constexpr char kSource[] = "audiolib/webapi_library";

constexpr char kDefaultOrder[] = " album, disc, track, path ";
constexpr char kCollation[] = "COLLATE \"en_US_varnel\"";
constexpr char kBlanks[] = " \t\r\n\v\f";
constexpr std::size_t kColumnBytes = 127;

// Columns whose order depends on the language.
constexpr std::array kTextColumns = {"album", "title",    "artist", "album_artist",
                                     "genre", "composer", "path"};

// The system code pages whose texts are ordered as the database orders bytes.
constexpr int kFirstWithoutCollation = 11;
constexpr int kLastWithoutCollation = 14;

constexpr int kSystemCodePage = 1;

using OrderBuffer = std::array<char, 1024>;

// The first column of an order, without blanks round it.
std::string FirstColumn(std::string_view order) {
    order = order.substr(0, order.find(','));
    order.remove_prefix(std::min(order.find_first_not_of(kBlanks), order.size()));
    order = order.substr(0, order.find_last_not_of(kBlanks) + 1);
    return std::string(order.substr(0, kColumnBytes));
}

std::string CollationSort(const std::string &order) {
    if (order.empty() || !WebapiLibrary::IsCollationSortNeeded()) {
        return "";
    }
    const std::string column = FirstColumn(order);
    const bool isText =
        std::any_of(kTextColumns.begin(), kTextColumns.end(),
                    [&](const char *name) { return strcasecmp(column.c_str(), name) == 0; });
    return isText ? kCollation : "";
}

std::string SortOrder(const std::string &sortBy, const std::string &direction) {
    std::string order = kDefaultOrder;
    if (!sortBy.empty()) {
        OrderBuffer columns = {};
        GenerateOrderString(sortBy.c_str(), columns.data(), columns.size());
        order = columns.data();
    }
    // Collation and direction are the first column's alone.
    const std::string suffix = " " + CollationSort(order) + " " + direction;
    order.insert(std::min(order.find(','), order.size()), suffix);
    OrderBuffer bySortName = {};
    const bool rewritten =
        VARNGetIgnoredOrderString(order.c_str(), bySortName.data(), bySortName.size()) == 0;
    return rewritten ? bySortName.data() : order;
}

}  // namespace

bool WebapiLibrary::IsCollationSortNeeded() noexcept {
    int codePage = 0;
    return VLIBCCodePageGet(kSystemCodePage, &codePage) == 0 &&
           (codePage < kFirstWithoutCollation || codePage > kLastWithoutCollation);
}

std::string WebapiLibrary::GetCollationSort(const std::string &orderText) noexcept {
    return Guarded(kSource, std::string(), [&] { return CollationSort(orderText); });
}

std::string WebapiLibrary::GetSortOrderString(const std::string &sortBy,
                                              const std::string &direction) const noexcept {
    return Guarded(kSource, std::string(), [&] { return SortOrder(sortBy, direction); });
}

}  // namespace Tonvale::webapi
