#include "linux/kept_connections.h"

#include <poll.h>
#include <strings.h>
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
    const PgResult discarded(Pq().exec(connection, "DISCARD ALL"));
    return Pq().resultStatus(discarded.get()) == PGRES_COMMAND_OK;
}

}  // namespace

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
