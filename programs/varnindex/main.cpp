// varnindex: brings the library database in step with folders of music.
#include <syslog.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <string>
#include <vector>

#include "database.h"
#include "reporter.h"
#include "scan.h"
#include "tags.h"
#include "varn/host.h"
#include "walk.h"

namespace {

using varnindex::Counts;
using varnindex::Reporter;
using varnindex::Scope;

constexpr const char *kAbout =
    "Brings the library database in step with the indexed folders, or with the given ones.\n"
    "Given folders should lie within indexed ones: a run without PATH removes songs that do not.";

struct Options {
    std::vector<std::string> paths;
    bool verbose = false;
};

int Complain(const std::string &message) {
    std::cerr << "varnindex: " << message << '\n';
    return EXIT_FAILURE;
}

bool PrintSummary(const Counts &counts) {
    std::cout << "added " << counts.added << ", changed " << counts.changed << ", removed "
              << counts.removed << ", unchanged " << counts.unchanged << ", failed "
              << counts.failed << std::endl;
    return std::cout.good();
}

int Index(const std::vector<std::string> &folders, Scope scope, Reporter &reporter) {
    varnindex::Database database;
    if (!database.TakeIndexLock()) {
        return Complain("another indexer is at work on this library; try again when it is done");
    }
    varnindex::Scan scan(database, folders, scope, reporter);
    scan.Run();
    reporter.Finish();
    const bool printed = PrintSummary(scan.Result());
    return printed && !scan.HeldBack() ? EXIT_SUCCESS : EXIT_FAILURE;
}

int Run(const Options &options) {
    const bool given = !options.paths.empty();
    const auto folders =
        varnindex::OrderedFolders(given ? options.paths : varn::host::IndexedFolders());
    if (folders.empty()) {
        // An empty list is more likely a lost configuration than the wish for an empty library.
        return Complain(
            "no folder is indexed; register one with \"tonvale init --music DIR\", or name one");
    }
    if (const auto schema = varn::host::CheckSchema(); !schema) {
        return Complain(schema.Message());
    }
    varnindex::SilenceTagLib();
    Reporter reporter(std::cerr, isatty(STDERR_FILENO) == 1,
                      options.verbose ? Reporter::Detail::kAll : Reporter::Detail::kBrief);
    try {
        return Index(folders, given ? Scope::kFoldersOnly : Scope::kWholeLibrary, reporter);
    } catch (const varnindex::DatabaseError &error) {
        reporter.Finish();
        return Complain(std::string("the database refused: ") + error.what() +
                        "\nWhat was finished before is stored, nothing is half-written. Mend the "
                        "cause and run varnindex again: it goes on where it stopped.");
    }
}

}  // namespace

int main(int argc, char **argv) {
    openlog("varnindex", LOG_PERROR | LOG_PID, LOG_USER);
    Options options;
    CLI::App app(kAbout, "varnindex");
    app.add_option("PATH", options.paths, "Folders to index instead of all indexed folders");
    app.add_flag("-v,--verbose", options.verbose, "Show every warning, not only the first 20");
    CLI11_PARSE(app, argc, argv);
    try {
        return Run(options);
    } catch (const std::exception &error) {
        return Complain(error.what());
    }
}
