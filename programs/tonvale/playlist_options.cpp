#include "playlist_options.h"

#include <unistd.h>

#include "command.h"
#include "database.h"
#include "service/settings.h"

namespace tonvale_cli {

void AddCollection(CLI::App &verb, CollectionOptions &options, const std::string &personal) {
    verb.add_option("--user", options.collection.user, "For whom")
        ->type_name("NAME")
        ->capture_default_str();
    verb.add_flag("--personal", options.collection.personal, personal);
}

int Prepare(CollectionOptions &options) {
    if (auto done = CheckRoot(); !done) {
        Complain(done.Message());
        return kFailed;
    }
    options.collection.uid = tonvale_service::UidOf(options.collection.user);
    options.collection.isForRoot = getuid() == 0 && options.collection.user == kUsualUser;
    Complete(options.collection);
    if (auto done = EnsureDatabase(); !done) {
        Complain(done.Message());
        return kFailed;
    }
    return kDone;
}

}  // namespace tonvale_cli
