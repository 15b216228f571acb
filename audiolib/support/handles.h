// Owners for the handles of the platform's plain functions.
#pragma once

#include <cstdio>
#include <memory>

#include "tonvale/library.h"
#include "varn/account.h"
#include "varn/base.h"
#include "varn/db.h"
#include "varn/share.h"

namespace Tonvale::support {

// A deleter that calls one plain function.
template <auto Release>
struct Releaser {
    template <typename T>
    void operator()(T *handle) const noexcept {
        Release(handle);
    }
};

using Connection = std::unique_ptr<DBConnect_tag, Releaser<VARNDBClose>>;
using Result = std::unique_ptr<VARNDB_RESULT, Releaser<VARNDBFreeResult>>;
using Text = std::unique_ptr<char, Releaser<VLIBCStrPut>>;
using StringList = std::unique_ptr<VLIBSZLIST, Releaser<VLIBCSzListFree>>;
using User = std::unique_ptr<VARN_USER, Releaser<VARNUserFree>>;
using Share = std::unique_ptr<VARN_SHARE, Releaser<VARNShareFree>>;
using MediaHandle = std::unique_ptr<MEDIA_DB_HANDLE, Releaser<AudioInfoDBClose>>;
using File = std::unique_ptr<std::FILE, Releaser<std::fclose>>;

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

}  // namespace Tonvale::support
