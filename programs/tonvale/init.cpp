#include <syslog.h>

#include <filesystem>
#include <memory>

#include "command.h"
#include "database.h"
#include "installed.h"
#include "service/people/settings.h"
#include "varn/systempath.h"

namespace tonvale_cli {

namespace {

using varn::host::DatabaseKind;
using varn::host::Outcome;

constexpr char kPrivate[] = "private";
constexpr char kExternal[] = "external";

struct InitOptions {
    std::vector<std::string> music;
    std::string database;  // "": as the root has it
};

// An explicit choice is kept before anything can fail: a later init without the option must not
// give a root with an external server a cluster of its own.
Outcome ChooseDatabase(const std::string &asked) {
    if (asked == kExternal && varn::host::HasCluster()) {
        return Outcome::Problem("the root " + SystemRoot() +
                                " has a database of its own already: "
                                "choose another root for an external one");
    }
    if (asked.empty()) {
        return Outcome::Good();
    }
    return varn::host::ChooseDatabase(asked == kExternal ? DatabaseKind::kExternal
                                                         : DatabaseKind::kPrivate);
}

void PrepareUsersFile() {
    // The preferences of the first entries are asked for in the file that is being made.
    const int previous = setlogmask(LOG_UPTO(LOG_CRIT));
    tonvale_service::MakeUsers();
    setlogmask(previous);
}

Outcome PrepareDatabase() {
    if (varn::host::ChosenDatabase() == DatabaseKind::kPrivate) {
        if (Outcome done = varn::host::CreateCluster(varn::host::Durability::kFull); !done) {
            return done;
        }
    }
    if (Outcome done = StartDatabase(); !done) {
        return done;
    }
    return varn::host::MigrateSchema();
}

Outcome Init(const InitOptions &options) {
    if (Outcome done = varn::host::PrepareRoot(ProgramDir()); !done) {
        return done;
    }
    PrepareUsersFile();
    if (Outcome done = ChooseDatabase(options.database); !done) {
        return done;
    }
    if (Outcome done = varn::host::AddMusicFolders(options.music); !done) {
        return done;
    }
    return PrepareDatabase();
}

// The login is shown once: afterwards it stands in its file only.
Outcome PrepareLogin() {
    std::string made;
    Outcome done = varn::host::PrepareLogin(&made);
    if (done && !made.empty()) {
        std::printf("The login for the web is %s (kept in %s).\n", made.c_str(),
                    SystemPath(varn::path::kInitialLogin).c_str());
    }
    return done;
}

}  // namespace

void AddInit(const Verb &app) {
    const Verb verb = app.AddVerb("init", "Prepare a root and its database, or complete them");
    const auto options = std::make_shared<InitOptions>();
    verb.AddText("--music", options->music, "A folder of music to share and to index")
        .ValueName("DIR")
        .Repeated();
    verb.AddText("--database", options->database,
                 "private: a cluster below the root; external: the server of PGHOST, PGPORT "
                 "(default: as the root has it, private for a new one)")
        .OneOf({kPrivate, kExternal})
        .ValueName("");
    verb.Do([options] {
        if (!Succeeded(Init(*options))) {
            return kFailed;
        }
        if (!Succeeded(PrepareLogin())) {
            return kFailed;
        }
        const std::size_t folders = varn::host::IndexedFolders().size();
        std::printf("%s is ready, with %zu %s to index.\n", SystemRoot().c_str(), folders,
                    folders == 1 ? "folder" : "folders");
        return kDone;
    });
}

}  // namespace tonvale_cli
