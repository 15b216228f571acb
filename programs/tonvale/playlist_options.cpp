#include "playlist_options.h"

#include <unistd.h>

#include "command.h"
#include "database.h"
#include "service/people/settings.h"

namespace tonvale_cli {

void AddCollection(const Verb &verb, CollectionOptions &options, const std::string &personal) {
    verb.AddText("--user", options.collection.user, "For whom").ValueName("NAME");
    verb.AddFlag("--personal", options.collection.personal, personal);
}

int Prepare(CollectionOptions &options) {
    if (!Succeeded(CheckRoot())) {
        return kFailed;
    }
    options.collection.uid = tonvale_service::UidOf(options.collection.user);
    options.collection.isForRoot = getuid() == 0 && options.collection.user == kUsualUser;
    Complete(options.collection);
    if (!Succeeded(EnsureDatabase())) {
        return kFailed;
    }
    return kDone;
}

}  // namespace tonvale_cli
