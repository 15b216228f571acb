#include "webapi/cgi.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "support/spawn.h"
#include "varn/packageconf.h"

namespace tonvale_test {

void UseHandlerSanitizer() {
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
}

std::vector<std::string> CgiEnvironment(Variables variables) {
    UseHandlerSanitizer();
    for (const char *name : {"TONVALE_ROOT", "PGHOST", "ASAN_OPTIONS", "UBSAN_OPTIONS"}) {
        if (const char *value = std::getenv(name); value != nullptr) {
            variables.emplace(name, value);
        }
    }
    std::vector<std::string> entries;
    for (const auto &[name, value] : variables) {
        entries.push_back(name + "=" + value);
    }
    return entries;
}

std::string RunCgi(const Variables &variables, const std::string &input) {
    const int in = memfd_create("in", MFD_CLOEXEC);
    const int out = memfd_create("out", MFD_CLOEXEC);
    EXPECT_EQ(pwrite(in, input.data(), input.size(), 0), static_cast<ssize_t>(input.size()));
    const pid_t child = Spawn(TONVALE_PROGRAM_DIR "/entry.cgi", {"entry.cgi"},
                              CgiEnvironment(variables), {{in, 0}, {out, 1}});
    EXPECT_TRUE(EndedWell(child));
    const std::string text = TextOf(out);
    close(in);
    close(out);
    const auto query = variables.find("QUERY_STRING");
    CheckDescribed(query != variables.end() ? query->second : "", input, text);
    return text;
}

std::string GetCgi(const std::string &query, Variables more) {
    more.insert({{"REQUEST_METHOD", "GET"}, {"QUERY_STRING", query}, {"REMOTE_USER", "alice"}});
    return RunCgi(more);
}

void Configure(const char *name, const char *value) {
    namespace fs = std::filesystem;
    EXPECT_EQ(VARNAudioConfSet(name, value), 0) << name;
    fs::permissions(SystemPath(varn::path::kPackageConf), fs::perms(0644));
}

}  // namespace tonvale_test
