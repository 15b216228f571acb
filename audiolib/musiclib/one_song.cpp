// Single rows: songs, lists and folders by id or path.
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "musiclib/query.h"
#include "support/boundary.h"
#include "support/log.h"
#include "varn/account.h"
#include "varn/base.h"
#include "varn/mediaindex.h"
#include "varn/sql.h"

namespace Tonvale::musiclib {

namespace {

constexpr std::size_t kIdConditionSize = 8192;

// The rows of a condition; null, with a log line of the frame, when the library does not answer.
MediaHandle OpenOne(const char *library, uid_t uid, int tableType, const std::string &condition) {
    return MediaHandle(AudioInfoDBOpen(library, uid, tableType, "*", condition.c_str(), nullptr,
                                       nullptr, 0, 0, 0));
}

std::string IdCondition(const char *idText) {
    return std::string(" id=") + idText + " ";
}

int ReadOneById(const std::string &library, uid_t uid, int tableType, const char *idText,
                VARN_MEDIA_INFO &record, PVLIBSZHASH *hash) {
    const MediaHandle handle = OpenOne(library.c_str(), uid, tableType, IdCondition(idText));
    if (!handle) {
        LOG_ERROR_OLD(kSource, "Failed to open media database (%s).", library.c_str());
        return -1;
    }
    const auto found = std::make_unique<VARN_MEDIA_INFO>();
    if (MediaInfoDBGet(handle.get(), found.get()) != 0) {
        LOG_ERROR(kSource, "Failed to get song of id=%s", idText);
        return -1;
    }
    if (hash != nullptr && SetSongHashValueByDBHandler(hash, handle.get(), found.get()) != 0) {
        LOG_ERROR(kSource, "Failed to keep the values of id=%s", idText);
        return -1;
    }
    record = *found;
    return 0;
}

// Copies a folder's path whole, for a LIKE pattern with the characters escaped that mean something
// there.
bool CopyPath(const char *path, bool escapeForLike, char *out, std::size_t outSize) {
    const std::optional<std::string> text =
        escapeForLike ? varn::Sql("@VARN:LVAR", path) : std::string(path);
    if (!text || text->size() >= outSize) {
        LOG_ERROR(kSource, "Failed to write the path [%s].", path);
        return false;
    }
    std::memcpy(out, text->c_str(), text->size() + 1);
    return true;
}

int ReadPathById(const char *library, uid_t uid, const char *idText, bool escapeForLike, char *out,
                 std::size_t outSize) {
    const MediaHandle handle = OpenOne(library, uid, VARN_TABLE_DIRECTORY, IdCondition(idText));
    if (!handle) {
        return -1;
    }
    const auto folder = std::make_unique<VARN_MEDIA_INFO>();
    if (MediaInfoDBGet(handle.get(), folder.get()) != 0) {
        LOG_ERROR(kSource, "Failed to get folder of id=%s", idText);
        return -1;
    }
    return CopyPath(folder->path, escapeForLike, out, outSize) ? 0 : -1;
}

int ReadOneByPath(const char *library, uid_t uid, int tableType, const char *path,
                  VARN_MEDIA_INFO &record) {
    const std::optional<std::string> condition = varn::Sql("path like '@VARN:LVAR'", path);
    if (!condition) {
        LOG_ERROR(kSource, "Failed to VLIBCStrGetEx()[0x%04X %s:%d]", VLIBCErrGet(), VLIBCErrFile(),
                  VLIBCErrLine());
        return -1;
    }
    const MediaHandle handle = OpenOne(library, uid, tableType, *condition);
    return handle ? MediaInfoDBGet(handle.get(), &record) : -1;
}

}  // namespace

}  // namespace Tonvale::musiclib

int VARNMusicGetOneById(const char *library, uid_t uid, int tableType, VARN_MEDIA_INFO *recordOut,
                        PVLIBSZHASH *fillHash, const char *idText) noexcept {
    using namespace Tonvale::musiclib;
    if (library == nullptr || recordOut == nullptr || !NonEmptyStr(idText)) {
        LOG_ERROR(kSource, "Bad parameter.");
        return -1;
    }
    return Tonvale::support::Guarded(kSource, -1, [&] {
        if (IdCondition(idText).size() >= kIdConditionSize) {
            LOG_ERROR(kSource, "Bad parameter.");
            return -1;
        }
        std::string kind;
        if (NormalizeLibraryKind(library, uid, kind) != 0) {
            return -1;
        }
        return ReadOneById(kind, uid, tableType, idText, *recordOut, fillHash);
    });
}

int VARNMusicGetPathById(const char *library, uid_t uid, char *pathOut, size_t pathSize,
                         const char *idText, int escapeForLike) noexcept {
    using namespace Tonvale::musiclib;
    if (pathOut != nullptr && pathSize > 0) {
        *pathOut = '\0';
    }
    if (library == nullptr || pathOut == nullptr || !NonEmptyStr(idText)) {
        LOG_ERROR(kSource, "Bad parameter.");
        return -1;
    }
    if (std::strcmp(library, "personal") != 0 && std::strcmp(library, "shared") != 0) {
        LOG_ERROR(kSource, "Wrong library type.");
        return -1;
    }
    return Tonvale::support::Guarded(kSource, -1, [&] {
        return ReadPathById(library, uid, idText, escapeForLike == 1, pathOut, pathSize);
    });
}

int AudioInfoDBGetOneByPath(const char *library, uid_t uid, int tableType, const char *path,
                            VARN_MEDIA_INFO *recordOut) noexcept {
    using namespace Tonvale::musiclib;
    if (library == nullptr || uid == varn::kNoUser || path == nullptr || recordOut == nullptr) {
        LOG_ERROR(kSource, "Bad parameters.");
        return -1;
    }
    return Tonvale::support::Guarded(
        kSource, -1, [&] { return ReadOneByPath(library, uid, tableType, path, *recordOut); });
}
