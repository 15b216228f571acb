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

// Found before that of the C library: nothing that a test writes has to outlive the machine.
extern "C" [[gnu::visibility("default")]] int fsync(int /*file*/) {
    return 0;
}

namespace {

fs::path folder;

// Below /tmp, because the path of a local socket may have 107 bytes only, and passable for the
// package's account.
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
    // Nothing of the caller's may lead to another server.
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
    // Tests capture standard error; a report must get out all the same.
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
