#include "playlist_options.h"

#include <unistd.h>

#include "database.h"
#include "service/people/settings.h"

namespace tonvale_cli {

void AddCollection(const Verb &verb, CollectionOptions &options, const std::string &personal) {
    verb.AddText("--user", options.collection.user, "Who asks").ValueName("NAME");
    verb.AddFlag("--personal", options.collection.personal, personal);
}

bool Prepare(CollectionOptions &options) {
    if (!Succeeded(CheckRoot())) {
        return false;
    }
    options.collection.uid = tonvale_service::UidOf(options.collection.user);
    options.collection.isForRoot = getuid() == 0 && options.collection.user == kUsualUser;
    Complete(options.collection);
    return Succeeded(EnsureDatabase());
}

}  // namespace tonvale_cli
