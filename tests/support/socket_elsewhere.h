// A database that does not answer.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "varn/systempath.h"

namespace tonvale_test {

// Moves the server's socket away for the length of a scope.
struct SocketElsewhere {
    const std::filesystem::path from = SystemPath(varn::path::kDatabaseSocket);
    const std::filesystem::path to = from.parent_path() / "elsewhere" / from.filename();

    SocketElsewhere() {
        namespace fs = std::filesystem;
        fs::create_directories(to.parent_path());
        fs::permissions(to.parent_path(), fs::perms::all);
        fs::rename(from, to);
    }
    ~SocketElsewhere() {
        namespace fs = std::filesystem;
        std::error_code ignored;
        fs::remove(from, ignored);
        fs::rename(to, from);
        fs::remove(to.parent_path());
        setenv("PGHOST", "/nonexistent", 1);
    }
    SocketElsewhere(const SocketElsewhere &) = delete;
    SocketElsewhere &operator=(const SocketElsewhere &) = delete;
};

}  // namespace tonvale_test
