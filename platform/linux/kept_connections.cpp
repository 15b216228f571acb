#include "linux/kept_connections.h"

#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

namespace varn {

namespace {

struct Kept {
    std::string key;
    PgConnection connection;
};

// Nothing is closed at the end of the process: the end of a forked child would close the parent's.
struct Pool {
    pid_t process = getpid();
    std::size_t most = 0;
    std::vector<Kept> kept;  // the oldest first
    std::vector<PGconn *> ofParent;
};

Pool &ThePool() {
    static Pool &pool = *std::make_unique<Pool>().release();
    if (pool.process != getpid()) {
        // The parent goes on with these: only the copies of their sockets may be closed.
        for (Kept &kept : pool.kept) {
            pool.ofParent.push_back(kept.connection.release());
            close(Pq().socket(pool.ofParent.back()));
        }
        pool.kept.clear();
        pool.process = getpid();
    }
    return pool;
}

int &LongestSilence() {
    static int milliseconds = 0;
    return milliseconds;
}

// Null after the last one.
PgResult NextResult(PGconn *connection) {
    for (;;) {
        const int unsent = Pq().flush(connection);
        if (unsent < 0 || (unsent == 0 && Pq().isBusy(connection) == 0)) {
            break;
        }
        const int wanted = unsent > 0 ? POLLIN | POLLOUT : POLLIN;
        pollfd socket = {Pq().socket(connection), static_cast<short>(wanted), 0};
        const bool isSilent = poll(&socket, 1, LongestSilence()) == 0;
        if (isSilent) {
            syslog(LOG_ERR, "database: no answer for %d ms: the connection is closed",
                   LongestSilence());
            shutdown(socket.fd, SHUT_RDWR);  // the client library then finds its end
        }
        if (isSilent || Pq().consumeInput(connection) == 0) {
            break;
        }
    }
    return PgResult(Pq().getResult(connection));
}

void CloseBeyond(Pool &pool, std::size_t most) {
    if (pool.kept.size() > most) {
        pool.kept.erase(pool.kept.begin(), pool.kept.end() - static_cast<std::ptrdiff_t>(most));
    }
}

// The server sends nothing to an idle connection but its end.
bool IsAlive(const PGconn *connection) {
    pollfd socket = {Pq().socket(connection), POLLIN, 0};
    return Pq().status(connection) == CONNECTION_OK && poll(&socket, 1, 0) == 0;
}

bool Contains(std::string_view text, std::string_view part) {
    const auto same = [](char a, char b) {
        return (a >= 'A' && a <= 'Z' ? static_cast<char>(a - 'A' + 'a') : a) == b;
    };
    return std::search(text.begin(), text.end(), part.begin(), part.end(), same) != text.end();
}

bool MakeAsNew(PGconn *connection) {
    const PgResult discarded = RunStatements(connection, "DISCARD ALL");
    return Pq().resultStatus(discarded.get()) == PGRES_COMMAND_OK;
}

}  // namespace

void BoundSilence(int milliseconds) {
    LongestSilence() = milliseconds;
}

PgResult RunStatements(PGconn *connection, const char *sql) {
    if (LongestSilence() == 0) {
        return PgResult(Pq().exec(connection, sql));
    }
    Pq().setNonblocking(connection, 1);  // a text may be longer than a hung server takes
    Pq().sendQuery(connection, sql);     // without it there is no result
    PgResult last;
    while (PgResult next = NextResult(connection)) {
        last = std::move(next);
        const ExecStatusType status = Pq().resultStatus(last.get());
        if (status == PGRES_COPY_IN || status == PGRES_COPY_OUT) {
            break;
        }
    }
    if (last) {  // without a result the connection keeps the reason, which this would clear
        Pq().setNonblocking(connection, 0);
    }
    return last;
}

std::string ConnectionKey(const char *socketDir, const char *user, const char *password,
                          const char *database) {
    std::string key = std::to_string(geteuid());
    for (const char *part : {socketDir, user, password, database}) {
        key += '\0';
        key += part != nullptr ? std::string("=") + part : "";
    }
    for (char **variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
        if (std::strncmp(*variable, "PG", 2) == 0) {
            key += '\0';
            key += *variable;
        }
    }
    return key;
}

bool MayChangeSession(std::string_view sql) {
    constexpr std::array kHarmless = {"SELECT", "INSERT",   "UPDATE", "DELETE",   "WITH",
                                      "BEGIN",  "ROLLBACK", "COMMIT", "SET LOCAL"};
    // A second statement, a lock, a setting, a table: within a value they only cost a moment.
    constexpr std::array kSuspect = {";", "advisory", "set_config", "temp"};
    const bool isHarmless = std::any_of(kHarmless.begin(), kHarmless.end(), [&](const char *word) {
        return strncasecmp(sql.data(), word, std::min(std::strlen(word), sql.size())) == 0;
    });
    return !isHarmless || std::any_of(kSuspect.begin(), kSuspect.end(),
                                      [&](const char *part) { return Contains(sql, part); });
}

void LimitKeptConnections(std::size_t most) {
    Pool &pool = ThePool();
    pool.most = most;
    CloseBeyond(pool, most);
}

PgConnection TakeKeptConnection(const std::string &key) {
    Pool &pool = ThePool();
    for (std::size_t i = pool.kept.size(); i-- > 0;) {
        if (pool.kept[i].key != key) {
            continue;
        }
        PgConnection connection = std::move(pool.kept[i].connection);
        pool.kept.erase(pool.kept.begin() + static_cast<std::ptrdiff_t>(i));
        if (IsAlive(connection.get())) {
            return connection;
        }
    }
    return nullptr;
}

void KeepConnection(PgConnection connection, std::string key, bool isChanged) {
    Pool &pool = ThePool();
    if (pool.most == 0 || Pq().status(connection.get()) != CONNECTION_OK ||
        Pq().transactionStatus(connection.get()) != PQTRANS_IDLE ||
        (isChanged && !MakeAsNew(connection.get()))) {
        return;
    }
    pool.kept.push_back({std::move(key), std::move(connection)});
    CloseBeyond(pool, pool.most);
}

}  // namespace varn
