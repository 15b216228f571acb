// The order of a song list, from a client's sort key and direction.
#include <strings.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "support/boundary.h"
#include "tonvale/library.h"
#include "tonvale/webapi.h"
#include "varn/base.h"
#include "webapi_library/source.h"

namespace Tonvale::webapi {

namespace {

using support::Guarded;

constexpr char kDefaultOrder[] = " album, disc, track, path ";
constexpr char kCollation[] = "COLLATE \"en_US_varnel\"";
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
std::string FirstColumn(const std::string &order) {
    std::string column = order.substr(0, order.find(','));
    return std::string(VLIBCStrTrimSpace(column.data())).substr(0, kColumnBytes);
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
    return Guarded(kLibrarySource, std::string(), [&] { return CollationSort(orderText); });
}

std::string WebapiLibrary::GetSortOrderString(const std::string &sortBy,
                                              const std::string &direction) const noexcept {
    return Guarded(kLibrarySource, std::string(), [&] { return SortOrder(sortBy, direction); });
}

}  // namespace Tonvale::webapi
