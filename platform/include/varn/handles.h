// Owners for the handles of the platform's plain functions.
#pragma once

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "varn/account.h"
#include "varn/base.h"
#include "varn/db.h"
#include "varn/mediaindex.h"
#include "varn/share.h"

namespace varn {

// A deleter that calls one plain function and leaves errno alone: it tells why a call failed.
template <auto Release>
struct Releaser {
    template <typename T>
    void operator()(T *handle) const noexcept {
        const int saved = errno;
        Release(handle);
        errno = saved;
    }
};

using Connection = std::unique_ptr<DBConnect_tag, Releaser<VARNDBClose>>;
using Result = std::unique_ptr<VARNDB_RESULT, Releaser<VARNDBFreeResult>>;
using Text = std::unique_ptr<char, Releaser<VLIBCStrPut>>;
using StringList = std::unique_ptr<VLIBSZLIST, Releaser<VLIBCSzListFree>>;
using User = std::unique_ptr<VARN_USER, Releaser<VARNUserFree>>;
using Share = std::unique_ptr<VARN_SHARE, Releaser<VARNShareFree>>;
using OwnedSongs = std::unique_ptr<PLAYLIST_REC, Releaser<VARNPlaylistRecFree>>;
using File = std::unique_ptr<std::FILE, Releaser<std::fclose>>;

// Memory from malloc(3).
template <typename T>
using MallocPtr = std::unique_ptr<T, Releaser<std::free>>;

// Null for an account or a share that is not found, with the error state set.
inline User UserByName(const char *name) {
    PVARN_USER user = nullptr;
    VARNUserGet(name, &user);
    return User(user);
}

inline User UserByUid(uid_t uid) {
    PVARN_USER user = nullptr;
    VARNUserGetByUID(uid, &user);
    return User(user);
}

inline Share ShareByName(const char *name) {
    PVARN_SHARE share = nullptr;
    VARNShareGet(name, &share);
    return Share(share);
}

}  // namespace varn
