// The library database, for the services that read and write it themselves.
#pragma once

#include <memory>

#include "varn/db.h"

namespace varn {

struct ConnectionCloser {
    void operator()(DBConnect_tag *connection) const noexcept { VARNDBClose(connection); }
};
using UniqueConnection = std::unique_ptr<DBConnect_tag, ConnectionCloser>;

struct ResultFreer {
    void operator()(VARNDB_RESULT *result) const noexcept { VARNDBFreeResult(result); }
};
using UniqueResult = std::unique_ptr<VARNDB_RESULT, ResultFreer>;

// A new connection as role "Tonvale": over the local socket when there is one, otherwise, or when
// that fails, over the client library's defaults. The process runs as the package's account while
// it connects, as far as it may. Null, with the error state set, when both fail.
UniqueConnection ConnectLibrary();

}  // namespace varn
