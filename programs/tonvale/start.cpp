#include "command.h"
#include "complain.h"

namespace tonvale_cli {

void AddStart(const Verb &app) {
    const Verb verb = app.AddVerb("start", "Start the root's own database");
    verb.Do([] {
        bool started = false;
        if (!Succeeded(varn::host::StartCluster(&started))) {
            return kFailed;
        }
        std::puts(started ? "The database was started." : "The database is running already.");
        return kDone;
    });
}

}  // namespace tonvale_cli
