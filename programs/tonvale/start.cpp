#include "command.h"
#include "database.h"

namespace tonvale_cli {

void AddStart(const Verb &app) {
    const Verb verb = app.AddVerb("start", "Start the root's own database");
    verb.Do([] {
        bool started = false;
        if (auto done = varn::host::StartCluster(&started); !done) {
            Complain(done.Message());
            return kFailed;
        }
        std::puts(started ? "The database was started." : "The database is running already.");
        return kDone;
    });
}

}  // namespace tonvale_cli
