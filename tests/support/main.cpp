#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

#include "support/environment.h"
#include "varn/host.h"

#if defined(__SANITIZE_ADDRESS__)
#include <fcntl.h>
#include <sanitizer/common_interface_defs.h>
#endif

namespace fs = std::filesystem;

// Replaces the C library's: no file of a test has to survive a power cut.
extern "C" [[gnu::visibility("default")]] int fsync(int /*file*/) {
    return 0;
}

namespace {

fs::path folder;

// Below /tmp, because the path of a local socket has 107 bytes at most. The package's account may
// pass through the folder.
void MakeFolder() {
    std::string name = "/tmp/tonvale-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        std::perror("mkdtemp");
        std::exit(1);
    }
    folder = name;
    fs::permissions(folder, fs::perms(0755));
    fs::create_directory(folder / "root");
    setenv("TONVALE_ROOT", (folder / "root").c_str(), 1);
    // The caller's environment may name another server.
    for (const char *variable : {"PGHOST", "PGPORT", "PGUSER", "PGDATABASE", "PGOPTIONS"}) {
        unsetenv(variable);
    }
    setenv("PGHOST", "/nonexistent", 1);
}

}  // namespace

const fs::path &tonvale_test::Environment::Folder() {
    return folder;
}

int main(int argc, char **argv) {
#if defined(__SANITIZE_ADDRESS__)
    // Tests capture standard error, so reports go to a copy of it.
    __sanitizer_set_report_fd(
        reinterpret_cast<void *>(static_cast<intptr_t>(fcntl(2, F_DUPFD_CLOEXEC, 100))));
#endif
    testing::InitGoogleTest(&argc, argv);
    MakeFolder();
    openlog("tonvale-test", LOG_PERROR, LOG_USER);
    const int result = RUN_ALL_TESTS();
    const varn::host::Outcome stopped = varn::host::StopCluster();
    if (!stopped) {
        std::cerr << stopped.Message() << "\n";
    }
    std::error_code ignored;
    fs::remove_all(folder, ignored);
    return stopped ? result : 1;
}
