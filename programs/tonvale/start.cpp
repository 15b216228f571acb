#include "command.h"
#include "database.h"

namespace tonvale_cli {

void AddStart(CLI::App &app, Action &action) {
    CLI::App *verb = app.add_subcommand("start", "Start the root's own database");
    verb->callback([&action] {
        action = [] {
            bool started = false;
            if (auto done = varn::host::StartCluster(&started); !done) {
                Complain(done.Message());
                return kFailed;
            }
            std::puts(started ? "The database was started." : "The database is running already.");
            return kDone;
        };
    });
}

}  // namespace tonvale_cli
