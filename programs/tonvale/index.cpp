#include <unistd.h>

#include <array>
#include <cstring>
#include <memory>

#include "command.h"
#include "database.h"
#include "installed.h"
#include "varn/systempath.h"

namespace tonvale_cli {

namespace {

// A flag that the indexer also has.
struct IndexerFlag {
    const char *names;
    const char *name;
    const char *description;
};
constexpr std::array kIndexerFlags = {
    IndexerFlag{"--full", "--full", "Read every file again, changed or not"},
    IndexerFlag{"--purge", "--purge",
                "Also remove the songs of folders that are empty, missing or unreadable"},
    IndexerFlag{"--dry-run", "--dry-run", "Count the changes, and write nothing"},
    IndexerFlag{"--watch", "--watch", "Follow every change until stopped"},
    IndexerFlag{"-v,--verbose", "--verbose", "Show every warning, not only the first 20"},
};

struct IndexOptions {
    std::array<bool, kIndexerFlags.size()> flags = {};
    std::vector<std::string> paths;
};

// Becomes the indexer, so that its progress, its signals and its exit status are this command's.
int BecomeIndexer(const IndexOptions &options) {
    std::vector<std::string> words = {Indexer()};
    for (std::size_t flag = 0; flag < kIndexerFlags.size(); ++flag) {
        if (options.flags[flag]) {
            words.emplace_back(kIndexerFlags[flag].name);
        }
    }
    words.emplace_back("--");
    words.insert(words.end(), options.paths.begin(), options.paths.end());
    std::vector<char *> arguments;
    for (std::string &word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    execv(arguments.front(), arguments.data());
    Complain("cannot run the indexer " + words.front() + ": " + std::strerror(errno) +
             "; it is installed beside this program");
    return kFailed;
}

}  // namespace

void AddIndex(const Verb &app) {
    const Verb verb = app.AddVerb("index", "Bring the library up to date with the folders");
    const auto options = std::make_shared<IndexOptions>();
    for (std::size_t flag = 0; flag < kIndexerFlags.size(); ++flag) {
        verb.AddFlag(kIndexerFlags[flag].names, options->flags[flag],
                     kIndexerFlags[flag].description);
    }
    verb.AddText("PATH", options->paths, "Folders to index; without one, all that are registered")
        .ValueName("");
    verb.Do([options] {
        if (!Succeeded(EnsureDatabase())) {
            return kFailed;
        }
        return BecomeIndexer(*options);
    });
}

}  // namespace tonvale_cli
