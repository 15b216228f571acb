#include <unistd.h>

#include <cstring>
#include <memory>

#include "tonvale/command.h"
#include "tonvale/database.h"
#include "varn/systempath.h"

namespace tonvale_cli {

namespace {

// Becomes the indexer, so that its progress, its signals and its exit status are this command's.
int BecomeIndexer(std::vector<std::string> &paths) {
    std::string indexer = SystemPath(varn::path::kIndexer);
    std::vector<char *> arguments = {indexer.data()};
    for (std::string &path : paths) {
        arguments.push_back(path.data());
    }
    arguments.push_back(nullptr);
    execv(indexer.c_str(), arguments.data());
    Complain("cannot run the indexer " + indexer + ": " + std::strerror(errno) + "; 'tonvale init" +
             RootOption() + "' links it where it is installed");
    return kFailed;
}

}  // namespace

void AddIndex(CLI::App &app, Action &action) {
    CLI::App *verb = app.add_subcommand("index", "Bring the library up to date with the folders");
    const auto paths = std::make_shared<std::vector<std::string>>();
    verb->add_option("PATH", *paths, "Folders to index; without one, all that are registered")
        ->type_name("");
    verb->callback([paths, &action] {
        action = [paths] {
            if (auto done = EnsureDatabase(); !done) {
                Complain(done.Message());
                return kFailed;
            }
            return BecomeIndexer(*paths);
        };
    });
}

}  // namespace tonvale_cli
