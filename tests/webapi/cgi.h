// entry.cgi, run as a web server runs it.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "platform/child.h"
#include "support/spawn.h"
#include "varn/packageconf.h"
#include "varn/systempath.h"
#include "webapi/described.h"

namespace tonvale_test {

// A process that has changed its user may not look for its own leaks. Other reports stay.
inline void UseHandlerSanitizer() {
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
}

using Variables = std::map<std::string, std::string>;

// The variables as an environment, with this process's root.
inline std::vector<std::string> CgiEnvironment(Variables variables) {
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

// What entry.cgi writes in an environment of these variables and this process's root. Its answer
// must match the description.
inline std::string RunCgi(const Variables &variables, const std::string &input = "") {
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

// The answer to a GET of alice's, unless `more` names another method or user.
inline std::string GetCgi(const std::string &query, Variables more = {}) {
    more.insert({{"REQUEST_METHOD", "GET"}, {"QUERY_STRING", query}, {"REMOTE_USER", "alice"}});
    return RunCgi(more);
}

// Sets an option of the package, in a file that its account may read.
inline void Configure(const char *name, const char *value) {
    namespace fs = std::filesystem;
    EXPECT_EQ(VARNAudioConfSet(name, value), 0) << name;
    fs::permissions(SystemPath(varn::path::kPackageConf), fs::perms(0644));
}

}  // namespace tonvale_test
