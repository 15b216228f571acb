// Looking playlists up in the library.
#include "playlist/catalogue.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <vector>

#include "musiclib/query.h"
#include "musiclib/track_view.h"
#include "playlist/source.h"
#include "support/boundary.h"
#include "support/chain.h"
#include "support/log.h"
#include "support/numbers.h"
#include "tonvale/library.h"
#include "varn/account.h"
#include "varn/run_as.h"
#include "varn/sql.h"

namespace Tonvale::playlist {

namespace {

constexpr char kCount[] = "COUNT(*) AS result_count";
constexpr char kOrder[] = "lower(title) asc, lower(album) asc";

// The indexer records cue sheets as playlists.
constexpr char kNoSheets[] = "path NOT ILIKE '%.cue'";
constexpr char kFolderOnly[] = "album ilike '%s' AND path NOT ILIKE '%%.cue'";
constexpr char kFolderName[] = "playlists";

std::string ListCondition(bool playlistsFolderOnly) {
    if (!playlistsFolderOnly) {
        return kNoSheets;
    }
    std::array<char, 128> condition{};
    std::snprintf(condition.data(), condition.size(), kFolderOnly, kFolderName);
    return condition.data();
}

struct Query {
    const char *library;
    uid_t uid;
    const char *columns;
    std::string condition;
    const char *order = nullptr;
    int offset = 0;
    int limit = 0;
};

MediaHandle Open(const Query &query) {
    return MediaHandle(AudioInfoDBOpen(query.library, query.uid, VARN_TABLE_PLAYLIST, query.columns,
                                       query.condition.c_str(), nullptr, query.order, query.offset,
                                       query.limit, 0));
}

using Record = std::unique_ptr<VARN_MEDIA_INFO>;

// The first row; null when there is none.
Record FirstRow(MEDIA_DB_HANDLE *rows) {
    auto record = std::make_unique<VARN_MEDIA_INFO>();
    return rows != nullptr && MediaInfoDBGet(rows, record.get()) == 0 ? std::move(record) : nullptr;
}

// 0, or -1 for a text that does not fit.
int WriteWhole(std::string_view text, char *out, int size) {
    if (text.size() >= static_cast<std::size_t>(size)) {
        return -1;
    }
    CopyText(text, out, static_cast<std::size_t>(size));
    return 0;
}

// Empties an output; false when it is none.
bool StartOutput(char *out, int size) {
    if (out == nullptr || size < 1) {
        return false;
    }
    *out = '\0';
    return true;
}

void AppendRows(MEDIA_DB_HANDLE *rows, OwnedPlaylists &list) {
    for (Record row = FirstRow(rows); row; row = FirstRow(rows)) {
        VARN_PLAYLIST &node = Prepend(list);
        node.id = row->id;
        CopyText(row->title, node.title, sizeof node.title);
        CopyText(row->path, node.path, sizeof node.path);
        CopyText(row->album, node.album, sizeof node.album);
    }
}

int ListAll(const Query &query, VARN_PLAYLIST **listOut) {
    OwnedPlaylists list(std::exchange(*listOut, nullptr));
    if (const MediaHandle rows = Open(query)) {
        AppendRows(rows.get(), list);
    }
    *listOut = PlaylistReverse(list.release());
    return 0;
}

// Counts what ListAll lists, in the same view.
int CountAll(const Query &query) {
    const MediaHandle rows = Open(query);
    return rows ? static_cast<int>(VARNPageTotalRowCount(rows.get())) : -1;
}

int PathGet(const Query &query, char *pathOut, int size) {
    const MediaHandle rows = Open(query);
    const Record row = FirstRow(rows.get());
    return row ? WriteWhole(row->path, pathOut, size) : -1;
}

// The condition for a path; "" with a log line.
std::string PathCondition(const char *path) {
    const std::size_t size = 2 * std::strlen(path) + 1;
    std::vector<char> escaped;
    try {
        escaped.resize(size);
    } catch (const std::bad_alloc &) {
        LOG_ERROR_OLD(kSource, "Failed to alloc(%d)", static_cast<int>(size));
        return "";
    }
    if (VARNDBEscapeString(path, escaped.data(), escaped.size()) < 0) {
        LOG_ERROR_OLD(kSource, "Failed to escape condition.");
        return "";
    }
    return std::string("path = '") + escaped.data() + "'";
}

// The row of a playlist's file; null when there is none.
Record RowOfFile(const char *path, uid_t uid, const char *column) {
    const std::string condition = PathCondition(path);
    const MediaHandle rows = condition.empty() ? nullptr : Open({"all", uid, column, condition});
    return FirstRow(rows.get());
}

int IdGet(const char *path, uid_t uid, char *idOut, int size) {
    const Record row = RowOfFile(path, uid, "id");
    return row ? WriteWhole(std::to_string(row->id), idOut, size) : -1;
}

int TitleByPath(const char *path, uid_t uid, char *titleOut, int size) {
    const Record row = RowOfFile(path, uid, "title");
    return row ? WriteWhole(row->title, titleOut, size) : -1;
}

int TitleById(const char *idText, char *titleOut, int size) {
    const std::string condition = "id = " + std::to_string(support::LeadingInt(idText));
    std::unique_ptr<MEDIA_DB_HANDLE, varn::Releaser<MediaInfoDBClose>> rows;
    {
        const varn::RunAs root(varn::Who::kRoot, varn::Afterwards::kPackage, kSource);
        rows.reset(MediaInfoDBOpen(VARN_TABLE_PLAYLIST, "title", condition.c_str(), nullptr, 0, 0));
    }
    if (!rows) {
        LOG_ERROR(kSource, "Failed to open media database.");
        return -1;
    }
    const Record row = FirstRow(rows.get());
    return row ? WriteWhole(row->title, titleOut, size) : -1;
}

}  // namespace

VARN_PLAYLIST &Prepend(OwnedPlaylists &list) {
    auto *const node = static_cast<VARN_PLAYLIST *>(std::calloc(1, sizeof(VARN_PLAYLIST)));
    if (node == nullptr) {
        LOG_ERROR(kSource, "Failed to alloc %zd", sizeof(VARN_PLAYLIST));
        throw std::bad_alloc();
    }
    node->next = list.release();
    list.reset(node);
    return *node;
}

void CopyText(std::string_view text, char *out, std::size_t size) {
    const std::size_t length = text.copy(out, size - 1);
    out[length] = '\0';
}

}  // namespace Tonvale::playlist

using namespace Tonvale::playlist;
using Tonvale::support::Guarded;

int VARNPlaylistCount(const VARN_PLAYLIST *list) noexcept {
    return Tonvale::support::ChainLength(list);
}

VARN_PLAYLIST *PlaylistReverse(VARN_PLAYLIST *list) noexcept {
    return Tonvale::support::ReversedChain(list);
}

void VARNPlayListFree(VARN_PLAYLIST *list) noexcept {
    while (list != nullptr) {
        const varn::MallocPtr<VARN_PLAYLIST> node(list);
        list = node->next;
    }
}

int VARNPlaylistListAll(const char *library, uid_t uid, VARN_PLAYLIST **listOut, int offset,
                        int limit, int playlistsFolderOnly) noexcept {
    if (library == nullptr || uid == varn::kNoUser || listOut == nullptr) {
        LOG_ERROR(kSource, "Bad parameter.");
        if (listOut != nullptr) {
            VARNPlayListFree(std::exchange(*listOut, nullptr));
        }
        return -1;
    }
    return Guarded(kSource, -1, [&] {
        return ListAll(
            {library, uid, "*", ListCondition(playlistsFolderOnly != 0), kOrder, offset, limit},
            listOut);
    });
}

int VARNPlaylistTotalGet(const char *library, uid_t uid, int playlistsFolderOnly) noexcept {
    return Guarded(kSource, -1, [&] {
        return CountAll({library, uid, kCount, ListCondition(playlistsFolderOnly != 0)});
    });
}

int VARNPlaylistPathGet(const char *library, uid_t uid, int playlistId, char *pathOut,
                        int pathSize) noexcept {
    if (!StartOutput(pathOut, pathSize) || library == nullptr) {
        LOG_ERROR(kSource, "Bad parameter.");
        return -1;
    }
    const std::string_view kind(library);
    if (kind != kPersonal && kind != kShared) {
        LOG_ERROR(kSource, "Wrong library type.");
        return -1;
    }
    return Guarded(kSource, -1, [&] {
        return PathGet({library, uid, "path", "id = " + std::to_string(playlistId)}, pathOut,
                       pathSize);
    });
}

int VARNPlaylistIDGet(const char *path, uid_t uid, char *idOut, int size) noexcept {
    if (!StartOutput(idOut, size) || path == nullptr) {
        LOG_ERROR_OLD(kSource, "Bad parameters.");
        return -1;
    }
    return Guarded(kSource, -1, [&] { return IdGet(path, uid, idOut, size); });
}

int VARNPlaylistTitleGet(const char *idText, char *titleOut, int size) noexcept {
    if (!StartOutput(titleOut, size) || idText == nullptr) {
        LOG_ERROR(kSource, "Bad parameters.");
        return -1;
    }
    return Guarded(kSource, -1, [&] { return TitleById(idText, titleOut, size); });
}

int VARNPlaylistTitleGetByPath(const char *path, char *titleOut, int size, uid_t uid) noexcept {
    if (!StartOutput(titleOut, size) || path == nullptr) {
        LOG_ERROR(kSource, "Bad parameters.");
        return -1;
    }
    return Guarded(kSource, -1, [&] { return TitleByPath(path, uid, titleOut, size); });
}
