// varnindex: brings the library database in step with folders of music.
#include <syslog.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>

#include "varn/db.h"
#include "varn/host.h"
#include "varn/text.h"
#include "varnindex/compare/known.h"
#include "varnindex/database.h"
#include "varnindex/observe/file_names.h"
#include "varnindex/observe/folders.h"
#include "varnindex/observe/links.h"
#include "varnindex/observe/walk.h"
#include "varnindex/read/inspect.h"
#include "varnindex/read/names.h"
#include "varnindex/read/tags.h"
#include "varnindex/reporter.h"
#include "varnindex/scan.h"
#include "varnindex/watch/notices.h"
#include "varnindex/watch/watch.h"
#include "varnindex/write/remove.h"

namespace {

using varnindex::Counts;
using varnindex::Folders;
using varnindex::Reporter;

constexpr const char *kAbout =
    "Brings the library database in step with the indexed folders and the users' home music\n"
    "folders, or with the given files and folders alone.";

constexpr int kUsageError = 2;

struct Options {
    std::vector<std::string> paths;
    bool verbose = false;
    bool watch = false;
    std::optional<std::string> removedId;
    std::optional<std::string> inspected;
    varnindex::ScanOptions scan;
};

int Complain(const std::string &message) {
    std::cerr << "varnindex: " << message << '\n';
    return EXIT_FAILURE;
}

std::ostream &operator<<(std::ostream &out, const varnindex::RowCounts &rows) {
    return out << "added " << rows.added << ", changed " << rows.changed << ", moved " << rows.moved
               << ", removed " << rows.removed << ", unchanged " << rows.unchanged;
}

bool PrintSummary(const Counts &counts) {
    std::cout << static_cast<const varnindex::RowCounts &>(counts) << ", failed " << counts.failed;
    for (const auto &[name, lists] :
         {std::pair("playlists", counts.playlists), std::pair("cue sheets", counts.sheets)}) {
        if (lists.Any()) {
            std::cout << "; " << name << ": " << lists;
        }
    }
    std::cout << std::endl;
    return std::cout.good();
}

// Tells others of a scan while it runs, how it ended, and what it has changed.
template <typename Job>
Counts Published(bool isWhole, const varnindex::ScanOptions &options, Reporter &reporter,
                 const Job &job) {
    if (options.dryRun) {
        return job();
    }
    varn::scan::Publisher publisher(isWhole);
    reporter.Publish(&publisher);
    const auto tell = [&](const char *problem) {
        reporter.Publish(nullptr);
        if (problem != nullptr) {
            publisher.Tell(problem);
        }
    };
    try {
        const Counts counts = job();
        tell(nullptr);
        publisher.SetChanges(counts.Changes());
        return counts;
    } catch (const varnindex::Stopped &) {
        tell("the scan was stopped; the next scan of everything goes on from there");
        throw;
    } catch (const std::exception &error) {
        tell(error.what());
        throw;
    }
}

// A scan of everything does what the library asked for while no indexer watched.
Counts IndexAll(varnindex::Database &database, const Folders &folders,
                const varnindex::ScanOptions &options, Reporter &reporter) {
    try {
        if (!options.dryRun) {
            varnindex::TakeSpooledNotices();
        }
    } catch (const std::system_error &error) {
        reporter.Warn(std::string("the library's notices cannot be read: ") + error.what() +
                      "; remove it, nothing is lost by that");
    }
    return IndexLibrary(database, folders, options, reporter);
}

// A path that does not exist and of which the library has nothing is most likely misspelt. Of a
// link, where it leads also counts.
bool IsUnknown(varnindex::Database &database, const std::string &path) {
    std::error_code ignored;
    const bool isThere = std::filesystem::symlink_status(path, ignored).type() !=
                         std::filesystem::file_type::not_found;
    return !isThere && !HasRows(database, path) &&
           !HasRows(database, std::filesystem::weakly_canonical(path, ignored));
}

int IndexOnce(const Options &options, const Folders &folders, Reporter &reporter) {
    varnindex::Database database;
    if (!database.TakeIndexLock()) {
        return Complain("another indexer is at work on this library; try again when it is done");
    }
    for (const std::string &path : options.paths) {
        if (IsUnknown(database, path)) {
            return Complain(varnindex::Printable(path) +
                            " does not exist, and the library has nothing of it; check how it is "
                            "spelt, or give the folder that it should be in");
        }
    }
    if (options.scan.dryRun && options.verbose) {
        reporter.ListChanges(std::cout);
    }
    const bool isWhole = options.paths.empty();
    const Counts counts = Published(isWhole, options.scan, reporter, [&] {
        return isWhole ? IndexAll(database, folders, options.scan, reporter)
                       : IndexPaths(database, folders, options.paths, options.scan, reporter);
    });
    reporter.Finish();
    return PrintSummary(counts) && !counts.heldBack ? EXIT_SUCCESS : EXIT_FAILURE;
}

// Every job of the watcher reads the configuration anew, and frees the library for others.
int WatchFolders(const varnindex::ScanOptions &given, Reporter &reporter) {
    const auto withDatabase = [&reporter](const auto &job) {
        varnindex::ReadPassedOver();
        const Folders folders = Folders::Configured();
        if (folders.Empty()) {
            return varnindex::JobResult::kNothingIndexed;
        }
        varnindex::Database database;
        if (!database.TakeIndexLock()) {
            return varnindex::JobResult::kIndexerBusy;
        }
        job(database, folders);
        reporter.Finish();
        return varnindex::JobResult::kDone;
    };
    varnindex::ScanOptions first = given;
    first.isStopped = [] { return varnindex::IsStopRequested() || varn::scan::IsAskedToStop(); };
    // Later scans neither purge nor read everything: a disk that goes away would be purged.
    varnindex::ScanOptions later = first;
    later.full = false;
    later.purge = false;
    bool isFirst = true;
    const auto tell = [](const Counts &counts) {
        if (counts.TellsSomething()) {
            PrintSummary(counts);
        }
    };
    varnindex::WatchJobs jobs;
    jobs.folders = [] { return Folders::Configured().Roots(); };
    jobs.indexPaths = [&](const std::vector<std::string> &paths) {
        return withDatabase([&](varnindex::Database &database, const Folders &folders) {
            tell(Published(false, later, reporter,
                           [&] { return IndexPaths(database, folders, paths, later, reporter); }));
        });
    };
    jobs.indexAll = [&] {
        return withDatabase([&](varnindex::Database &database, const Folders &folders) {
            const varnindex::ScanOptions options = isFirst ? first : later;
            first.purge = false;  // if this one is cut short, the disks may be away at the next
            const Counts counts = Published(true, options, reporter, [&] {
                return IndexLibrary(database, folders, options, reporter);
            });
            std::exchange(isFirst, false) ? void(PrintSummary(counts)) : tell(counts);
        });
    };
    return Watch(jobs);
}

// Why a given path cannot be indexed; "" when it can. The library knows files by the configured
// folders: a path that leads there by a link is taken for where it leads.
std::string Problem(const Folders &folders, std::string &path) {
    namespace fs = std::filesystem;
    std::error_code ignored;
    if (!varn::IsUtf8(path)) {
        return ": the name is not UTF-8";
    }
    const std::string given = varnindex::OrderedFolders({path}).front();
    const std::string real = fs::weakly_canonical(path, ignored);
    if (folders.Of(given) == nullptr && folders.Of(real) == nullptr) {
        return " is in no indexed folder; register one with \"tonvale init --music DIR\"";
    }
    path = folders.Of(given) != nullptr ? given : real;
    if (fs::exists(path, ignored) && !fs::is_regular_file(path, ignored) &&
        !fs::is_directory(path, ignored)) {
        return " is neither a file nor a folder";
    }
    const varnindex::LinkedFolders library(folders.Roots());
    const auto part = varnindex::PassedOverPart(*library.RootOf(path), path);
    return part.empty()
               ? ""
               : " is passed over, because of \"" + varnindex::Printable(part) + "\" in its path";
}

int Index(Options options) {
    const Folders folders = Folders::Configured();
    for (std::string &path : options.paths) {
        if (const std::string problem = Problem(folders, path); !problem.empty()) {
            return Complain(varnindex::Printable(path) + problem);
        }
    }
    if (folders.Empty() && options.paths.empty() && !options.watch) {
        return Complain(
            "no folder is indexed; register one with \"tonvale init --music DIR\", or name one");
    }
    if (!options.watch && !options.scan.dryRun) {
        options.scan.isStopped = varn::scan::IsAskedToStop;
    }
    varnindex::SilenceTagLib();
    Reporter reporter(std::cerr, isatty(STDERR_FILENO) == 1,
                      options.verbose ? Reporter::Detail::kAll : Reporter::Detail::kBrief);
    try {
        return options.watch ? WatchFolders(options.scan, reporter)
                             : IndexOnce(options, folders, reporter);
    } catch (const varnindex::Stopped &) {
        reporter.Finish();
        return Complain("the scan was stopped; the next one goes on from there");
    } catch (const varnindex::DatabaseError &error) {
        reporter.Finish();
        return Complain(std::string("the database refused: ") + error.what() +
                        "\nWhat was finished before is stored, nothing is half-written. Mend the "
                        "cause and run varnindex again: it goes on where it stopped.");
    }
}

int RemovePlaylistRow(const std::string &id) {
    const auto number = varnindex::ParseRowId(id);
    if (!number) {
        return Complain(varnindex::Printable(id) + " is no playlist's id: digits only");
    }
    varnindex::Database database;
    return RemovePlaylist(database, *number)
               ? EXIT_SUCCESS
               : Complain("the library has no playlist with the id " + std::to_string(*number));
}

int Run(const Options &options) {
    if (options.inspected) {
        varnindex::SilenceTagLib();
        return varnindex::Inspect(*options.inspected);
    }
    // The connection that has looked at the schema serves the scan. A watcher holds none.
    VARNDBKeepConnections(options.watch ? 0 : 1);
    if (const auto schema = varn::host::CheckSchema(); !schema) {
        return Complain(schema.Message());
    }
    return options.removedId ? RemovePlaylistRow(*options.removedId) : Index(options);
}

void AddOptions(CLI::App &app, Options &options) {
    auto *const paths = app.add_option("PATH", options.paths, "Files and folders to index alone");
    auto *const full =
        app.add_flag("--full", options.scan.full, "Read every file again, changed or not");
    auto *const purge =
        app.add_flag("--purge", options.scan.purge,
                     "Remove the songs of folders that are empty, missing or unreadable, too");
    auto *const dry =
        app.add_flag("--dry-run", options.scan.dryRun, "Count the changes, and write nothing");
    auto *const watch =
        app.add_flag("--watch", options.watch, "Go on with every change until stopped")
            ->excludes(paths)
            ->excludes(dry);
    app.add_flag("-v,--verbose", options.verbose,
                 "Show every warning, not only the first 20, and with --dry-run every path");
    auto *const remove = app.add_option("-d", options.removedId,
                                        "Remove the playlist row with this id, nothing else")
                             ->type_name("ID");
    for (CLI::Option *const other : {paths, full, purge, dry, watch}) {
        remove->excludes(other);
    }
    CLI::App *const inspect =
        app.add_subcommand("inspect", "Show what is read from a file, or why it is skipped");
    inspect->add_option("FILE", options.inspected)->required();
}

}  // namespace

int main(int argc, char **argv) {
    openlog("varnindex", LOG_PERROR | LOG_PID, LOG_USER);
    varnindex::NoteParent();
    Options options;
    CLI::App app(kAbout, "varnindex");
    AddOptions(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? EXIT_SUCCESS : kUsageError;
    }
    try {
        return Run(options);
    } catch (const std::exception &error) {
        return Complain(error.what());
    }
}
