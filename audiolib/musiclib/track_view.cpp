#include "musiclib/track_view.h"

#include "musiclib/source.h"
#include "support/log.h"
#include "tonvale/library.h"
#include "tonvale/settings.h"
#include "varn/account.h"

namespace Tonvale::musiclib {

namespace {

// ---- which tracks ------------------------------------------------------------------------------

#define SPLIT_FILES \
    "LEFT JOIN (SELECT path FROM track WHERE has_virtual = 'TRUE') tmp ON track.path = tmp.path "
#define ANY_TRACK                                                 \
    SPLIT_FILES                                                   \
    "WHERE ((is_virtual = 'FALSE' AND has_virtual = 'FALSE') OR " \
    "(is_virtual = 'TRUE' AND tmp.path IS NOT NULL)) "
#define REAL_TRACK "WHERE is_virtual = 'FALSE' "
#define VIRTUAL_TRACK SPLIT_FILES "WHERE is_virtual = 'TRUE' AND tmp.path IS NOT NULL "

enum class Owner { kSharedAndUser, kUser, kUserOrEverybody, kShared };

struct Kind {
    std::string_view name;
    std::string_view tracks;      // which tracks, up to their owner
    Owner owner;                  // and whose
    std::string_view whenHidden;  // the kind for users who do not see virtual tracks
};

constexpr std::array kKinds = {
    Kind{"all", ANY_TRACK, Owner::kSharedAndUser, "actual"},
    Kind{"personal", ANY_TRACK, Owner::kUserOrEverybody, "actual_personal"},
    Kind{"shared", ANY_TRACK, Owner::kShared, "actual_shared"},
    Kind{"actual", REAL_TRACK, Owner::kSharedAndUser, ""},
    Kind{"actual_personal", REAL_TRACK, Owner::kUser, ""},
    Kind{"actual_shared", REAL_TRACK, Owner::kShared, ""},
    Kind{"virtual", VIRTUAL_TRACK, Owner::kSharedAndUser, ""},
    Kind{"virtual_personal", VIRTUAL_TRACK, Owner::kUser, ""},
    Kind{"virtual_shared", VIRTUAL_TRACK, Owner::kShared, ""},
};

#undef SPLIT_FILES
#undef ANY_TRACK
#undef REAL_TRACK
#undef VIRTUAL_TRACK

const Kind *FindKind(std::string_view name) {
    for (const Kind &kind : kKinds) {
        if (kind.name == name) {
            return &kind;
        }
    }
    return nullptr;
}

// The kind itself, or what a user without virtual tracks gets for it; null when there is none.
const Kind *KindFor(std::string_view name, uid_t uid) {
    const Kind *kind = FindKind(name);
    const bool canHide = kind != nullptr && !kind->whenHidden.empty();
    return canHide && !AudioFileGetUserShowVirtualLib(uid) ? FindKind(kind->whenHidden) : kind;
}

std::string OwnerFilter(Owner owner, uid_t uid) {
    const std::string user = std::to_string(uid);
    switch (owner) {
        case Owner::kSharedAndUser:
            return "AND (track.userid = 0 OR track.userid = " + user + ")";
        case Owner::kUserOrEverybody:
            if (uid == 0) {
                return "AND track.userid != 0";
            }
            [[fallthrough]];
        case Owner::kUser:
            return "AND track.userid = " + user;
        case Owner::kShared:
            break;
    }
    return "AND track.userid = 0";
}

// ---- playlists and folders ---------------------------------------------------------------------

std::string ListTable(const Kind &kind, std::string_view table, uid_t uid) {
    const std::string name(table);
    const std::string personal = "personal_" + name;
    const std::string ofUser = " WHERE userid = " + std::to_string(uid);
    switch (kind.owner) {
        case Owner::kSharedAndUser:
            return "(SELECT '1' AS userid, *, '1' AS updated FROM " + name +
                   " UNION ALL  SELECT * FROM " + personal + ofUser + ") " + name;
        case Owner::kUser:
        case Owner::kUserOrEverybody:
            return "(SELECT * FROM " + personal + (uid == 0 ? "" : ofUser) + ") " + name;
        case Owner::kShared:
            break;
    }
    return name;
}

// ---- side tables -------------------------------------------------------------------------------

constexpr char kTrackColumns[] =
    "(SELECT track.userid, track.id, track.path, track.title, track.title_sort, "
    "track.title_search, track.filesize, track.year, track.frequency, track.channel, "
    "track.bitrate, track.duration, track.comment, track.track, track.disc, track.container, "
    "track.codec, track.is_virtual, track.has_virtual, track.covercount, track.date, track.mdate ";

// One table that the view can join, with the columns that it brings.
struct SideTable {
    VARN_JOIN_TABLE flag;
    std::string_view columns;
    std::string_view join;
};

// In the order in which columns and joins are appended.
constexpr std::array kSideTables = {
    SideTable{VARN_JOIN_ALBUM,
              ", album, album_sort, album_search, album_artist, album_artist_sort, "
              "album_artist_search ",
              "LEFT JOIN album_track ON track.id = album_track.track "},
    SideTable{VARN_JOIN_ARTIST, ", artist, artist_sort, artist_search, has_album_artist ",
              "LEFT JOIN artist_track ON track.id = artist_track.track "},
    SideTable{VARN_JOIN_COMPOSER, ", composer, composer_sort, composer_search ",
              "LEFT JOIN composer_track ON track.id = composer_track.track "},
    SideTable{VARN_JOIN_GENRE, ", genre, genre_sort, genre_search ",
              "LEFT JOIN genre_track ON track.id = genre_track.track "},
    SideTable{VARN_JOIN_VIRTUAL_INFO, ", audio_offset, cue_sheet_path ",
              "LEFT JOIN virtual_info_track ON track.id = virtual_info_track.track "},
    SideTable{VARN_JOIN_STAR, ", COALESCE(rating_track.star, 0) as star ",
              "LEFT JOIN rating_track ON track.id = rating_track.track AND rating_track.userid = "},
    SideTable{VARN_JOIN_REPLAY_GAIN,
              ", rg_track_gain, rg_track_peak, rg_album_gain, rg_album_peak ",
              "LEFT JOIN replaygain_track ON track.id = replaygain_track.track "},
};

constexpr char kJoinedGenres[] =
    ", agg_genre AS genre, agg_genre_sort AS genre_sort, agg_genre_search AS genre_search ";

const char *TableName(int tableType) {
    switch (tableType) {
        case VARN_TABLE_MUSIC:
            return "music";
        case VARN_TABLE_PLAYLIST:
            return "playlist";
        case VARN_TABLE_DIRECTORY:
            return "directory";
        default:
            return nullptr;
    }
}

}  // namespace

std::string TrackView(const int *joinFlags, uid_t uid, std::string_view where, GenreRows genres) {
    std::string columns = kTrackColumns;
    std::string from = "FROM track ";
    for (const SideTable &side : kSideTables) {
        if (joinFlags[side.flag] == 0) {
            continue;
        }
        if (side.flag == VARN_JOIN_GENRE && genres == GenreRows::kJoined) {
            columns += kJoinedGenres;
            continue;
        }
        columns += side.columns;
        from += side.join;
        if (side.flag == VARN_JOIN_STAR) {
            from += std::to_string(uid) + " ";
        }
    }
    return columns + " " + from + " " + std::string(where) + ") music";
}

bool BuildTable(const Source &source, const int *joinFlags, GenreRows genres, TableText &out) {
    if (source.library == nullptr || source.uid == varn::kNoUser) {
        LOG_ERROR(kSource, "Bad parameters.");
        return false;
    }
    const Kind *kind = KindFor(source.library, source.uid);
    const char *table = TableName(source.tableType);
    if (table == nullptr) {
        LOG_ERROR(kSource, "Wrong table type [%d]", source.tableType);
        return false;
    }
    if (kind == nullptr) {
        LOG_ERROR(kSource, "Wrong library type [%s]", source.library);
        return false;
    }
    if (source.tableType != VARN_TABLE_MUSIC) {
        out = {ListTable(*kind, table, source.uid), ""};
        return true;
    }
    const std::string where = std::string(kind->tracks) + OwnerFilter(kind->owner, source.uid);
    out = {TrackView(joinFlags, source.uid, where, genres), where};
    return true;
}

}  // namespace Tonvale::musiclib
