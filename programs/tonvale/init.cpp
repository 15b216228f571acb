#include <filesystem>
#include <memory>

#include "tonvale/command.h"
#include "tonvale/database.h"
#include "varn/packageconf.h"
#include "varn/systempath.h"

namespace tonvale_cli {

namespace {

using varn::host::Outcome;

struct InitOptions {
    std::vector<std::string> music;
    std::string database;  // "": as the root has it
};

// The folder of this program, where the indexer is installed too.
std::string ProgramDir() {
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
}

// Which server the root uses, kept in the package configuration: a later init without the option must
// not give a root with an external one a cluster of its own.
constexpr char kDatabaseKey[] = "database";
constexpr char kPrivate[] = "private";
constexpr char kExternal[] = "external";

std::string DatabaseKind(const std::string &asked) {
    if (!asked.empty()) {
        return asked;
    }
    return VARNAudioConfCheck(kDatabaseKey, kExternal, 0) ? kExternal : kPrivate;
}

Outcome RememberDatabase(const std::string &kind) {
    if (VARNAudioConfCheck(kDatabaseKey, kind.c_str(), kind == kPrivate) ||
        VARNAudioConfSet(kDatabaseKey, kind.c_str()) == 0) {
        return Outcome::Good();
    }
    return Outcome::Problem("cannot write " + SystemPath(varn::path::kPackageConf));
}

Outcome PrepareDatabase(const std::string &kind) {
    if (kind == kPrivate) {
        if (Outcome done = varn::host::CreateCluster(varn::host::Durability::kFull); !done) {
            return done;
        }
    } else if (varn::host::HasCluster()) {
        return Outcome::Problem("the root " + SystemRoot() +
                                " has a database of its own already: "
                                "choose another root for an external one");
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
    if (Outcome done = varn::host::AddMusicFolders(options.music); !done) {
        return done;
    }
    const std::string database = DatabaseKind(options.database);
    if (Outcome done = PrepareDatabase(database); !done) {
        return done;
    }
    return RememberDatabase(database);
}

}  // namespace

void AddInit(CLI::App &app, Action &action) {
    CLI::App *verb =
        app.add_subcommand("init", "Prepare a root and its database, or complete them");
    const auto options = std::make_shared<InitOptions>();
    verb->add_option("--music", options->music, "A folder of music to share and to index")
        ->type_name("DIR")
        ->allow_extra_args(false);
    verb->add_option("--database", options->database,
                     "private: a cluster below the root; external: the server of PGHOST, PGPORT "
                     "(default: as the root has it, private for a new one)")
        ->check(CLI::IsMember({kPrivate, kExternal}))
        ->type_name("");
    verb->callback([options, &action] {
        action = [options] {
            if (Outcome done = Init(*options); !done) {
                Complain(done.Message());
                return kFailed;
            }
            const std::size_t folders = varn::host::IndexedFolders().size();
            std::printf("%s is ready, with %zu %s to index.\n", SystemRoot().c_str(), folders,
                        folders == 1 ? "folder" : "folders");
            return kDone;
        };
    });
}

}  // namespace tonvale_cli
