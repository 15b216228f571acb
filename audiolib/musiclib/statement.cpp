// The exported text builders.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "musiclib/source.h"
#include "musiclib/track_view.h"
#include "support/boundary.h"
#include "support/log.h"

namespace Tonvale::musiclib {

namespace {

constexpr std::size_t kOrderSize = 1024;

constexpr std::array kDefaultOrder = {"album", "disc", "track", "title",    "artist",
                                      "genre", "year", "path",  "duration", "star"};

struct JoinWord {
    const char *word;
    VARN_JOIN_TABLE flag;
};

constexpr std::array kJoinWords = {
    JoinWord{"artist", VARN_JOIN_ARTIST},     JoinWord{"album", VARN_JOIN_ALBUM},
    JoinWord{"composer", VARN_JOIN_COMPOSER}, JoinWord{"genre", VARN_JOIN_GENRE},
    JoinWord{"star", VARN_JOIN_STAR},
};

GenreRows Rows(int genreJoin) {
    return genreJoin != 0 ? GenreRows::kOnePerGenre : GenreRows::kJoined;
}

// Copies a text that has to fit whole.
bool CopyWhole(const std::string &text, char *out, std::size_t outSize) {
    if (text.size() >= outSize) {
        LOG_ERROR(kSource, "A text of %zu bytes does not fit into %zu.", text.size(), outSize);
        return false;
    }
    std::memcpy(out, text.c_str(), text.size() + 1);
    return true;
}

void Clear(char *out, std::size_t outSize) {
    if (out != nullptr && outSize > 0) {
        *out = '\0';
    }
}

std::string CompleteOrder(std::string_view primary) {
    std::string order(primary);
    for (const std::string_view column : kDefaultOrder) {
        if (primary.substr(0, column.size()) == column) {
            continue;
        }
        if (!order.empty()) {
            order += ", ";
        }
        order += column;
    }
    return order;
}

}  // namespace

}  // namespace Tonvale::musiclib

int GenerateTableString(const char *library, uid_t uid, int tableType, char *tableOut,
                        size_t tableOutSize, char *whereOut, size_t whereOutSize,
                        const int *joinFlags, int genreJoin) noexcept {
    using namespace Tonvale::musiclib;
    Clear(tableOut, tableOutSize);
    Clear(whereOut, whereOutSize);
    if (tableOut == nullptr || whereOut == nullptr || joinFlags == nullptr) {
        LOG_ERROR(kSource, "Bad parameters.");
        return -1;
    }
    return Tonvale::support::Guarded(kSource, -1, [&] {
        TableText text;
        if (!BuildTable({library, uid, tableType}, joinFlags, Rows(genreJoin), text) ||
            !CopyWhole(text.table, tableOut, tableOutSize)) {
            return -1;
        }
        if (!CopyWhole(text.where, whereOut, whereOutSize)) {
            Clear(tableOut, tableOutSize);
            return -1;
        }
        return 0;
    });
}

int CreateString(char *out, size_t outSize, const int *joinFlags, uid_t uid,
                 const char *whereClause, int genreJoin) noexcept {
    using namespace Tonvale::musiclib;
    if (out == nullptr || joinFlags == nullptr) {
        LOG_ERROR(kSource, "Bad parameters.");
        return -1;
    }
    return Tonvale::support::Guarded(kSource, -1, [&] {
        const std::string view =
            TrackView(joinFlags, uid, whereClause != nullptr ? whereClause : "", Rows(genreJoin));
        return std::snprintf(out, outSize, "%s", view.c_str());
    });
}

void UpdateJoinTableArgs(int *joinFlags, const char *text) noexcept {
    using namespace Tonvale::musiclib;
    if (joinFlags == nullptr || text == nullptr) {
        return;
    }
    for (const JoinWord &join : kJoinWords) {
        if (std::strstr(text, join.word) != nullptr) {
            joinFlags[join.flag] = 1;
        }
    }
}

int GenerateOrderString(const char *primary, char *out, size_t outSize) noexcept {
    using namespace Tonvale::musiclib;
    if (out == nullptr) {
        LOG_ERROR(kSource, "Bad parameters.");
        return -1;
    }
    return Tonvale::support::Guarded(kSource, -1, [&] {
        std::string order = CompleteOrder(primary != nullptr ? primary : "");
        order.resize(std::min(order.size(), kOrderSize - 1));
        return std::snprintf(out, outSize, " %s ", order.c_str());
    });
}
