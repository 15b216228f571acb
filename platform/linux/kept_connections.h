// Connections that do not hang, and idle ones that this process has closed and may use again.
#pragma once

#include <libpq-fe.h>

#include <memory>
#include <string>
#include <string_view>

#include "linux/libpq.h"

namespace varn {

struct ConnectionCloser {
    void operator()(PGconn *conn) const noexcept { Pq().finish(conn); }
};
struct ResultCloser {
    void operator()(PGresult *result) const noexcept { Pq().clear(result); }
};
using PgConnection = std::unique_ptr<PGconn, ConnectionCloser>;
using PgResult = std::unique_ptr<PGresult, ResultCloser>;

// How long a server may be silent while it runs statements, in milliseconds. 0: as long as it likes.
void BoundSilence(int milliseconds);

// Runs statements; the result is the last one's. A connection that is silent for too long is lost.
PgResult RunStatements(PGconn *connection, const char *sql);

// Everything that decides which session a connection gets: the arguments, the effective user and
// the client library's variables. A connection with an equal text is the same for its user.
std::string ConnectionKey(const char *socketDir, const char *user, const char *password,
                          const char *database);

// True when a statement may leave something behind in the session: a setting, a temporary table, a
// lock. It errs on that side.
bool MayChangeSession(std::string_view sql);

// At most `most` are kept from now on; those beyond it, the oldest ones, are closed.
void LimitKeptConnections(std::size_t most);

// A kept connection with this key that still lives; null when there is none.
PgConnection TakeKeptConnection(const std::string &key);

// Keeps a connection, or closes it: when it is lost, in a transaction, or none are kept.
// `isChanged`: its session is to be made as new first.
void KeepConnection(PgConnection connection, std::string key, bool isChanged);

}  // namespace varn
