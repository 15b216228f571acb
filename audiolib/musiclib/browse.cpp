#include "musiclib/browse.h"

#include "support/log.h"
#include "support/statement.h"
#include "varn/account.h"
#include "varn/base.h"

namespace Tonvale::musiclib {

bool IsBad(const Library &library) {
    if (library.kind == nullptr || library.uid == varn::kNoUser) {
        LOG_ERROR(kSource, "Bad parameters.");
        return true;
    }
    return false;
}

bool BrowseView(const Library &library, JoinFlags flags, std::initializer_list<const char *> texts,
                std::string &out) {
    for (const char *text : texts) {
        UpdateJoinTableArgs(flags.data(), text);
    }
    TableText view;
    if (!BuildTableOrLog({library.kind, library.uid, VARN_TABLE_MUSIC}, flags,
                         GenreRows::kOnePerGenre, view)) {
        return false;
    }
    out = std::move(view.table);
    return true;
}

MEDIA_DB_HANDLE *OpenList(const varn::Text &statement, int offset, int limit) {
    if (!statement) {
        support::LogFailedText(kSource);
        return nullptr;
    }
    MediaHandle handle = NewHandle(VARN_TABLE_MUSIC);
    if (!handle) {
        LOG_ERROR(kSource, "Failed to malloc.");
        return nullptr;
    }
    return RunPage(std::move(handle), statement.get(), offset, limit).release();
}

int64_t CountList(const varn::Text &statement) {
    constexpr int kNoPage = -1;
    const MediaHandle handle(OpenList(statement, 0, kNoPage));
    if (!handle) {
        return -1;
    }
    int row = 0;
    if (VARNDBFetchRow(handle->result, &row) == -1) {
        LOG_ERROR(kSource, "Fetch row error......");
        return -1;
    }
    return VARNPageTotalRowCount(handle.get());
}

}  // namespace Tonvale::musiclib
