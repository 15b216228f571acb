#include "command.h"
#include "complain.h"

namespace tonvale_cli {

void AddStop(const Verb &app) {
    const Verb verb = app.AddVerb("stop", "Stop the root's own database");
    verb.Do([] {
        if (!varn::host::HasCluster()) {
            Complain("there is no database of its own to stop; name its root with --root DIR");
            return kFailed;
        }
        if (!Succeeded(varn::host::StopCluster())) {
            return kFailed;
        }
        std::puts("The database is stopped.");
        return kDone;
    });
}

}  // namespace tonvale_cli
