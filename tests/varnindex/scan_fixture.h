// For tests of whole scans: homes, ratings, cue sheets, and the library's content.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "varn/packageconf.h"
#include "varnindex/index_fixture.h"
#include "varnindex/scan.h"

namespace tonvale_test {

class ScanTest : public IndexTest {
  protected:
    static std::filesystem::path Home(const std::string &user);
    static void EnableHomes(bool on);
    static void Rate(const std::string &condition, int star);
    static void Write(const std::string &name, const std::string &text);
    static std::string Sheet(const std::string &file, const std::string &first = "One");

    // Paths below the music folder.
    static Rows Ratings();

    // Runs a statement for each table of the library: %1$s is its name, %2$s the names of its
    // columns that can be written.
    static void ForEveryTable(const std::string &statement);

    static void EmbedSheet(const std::filesystem::path &path, const std::string &sheet);

    // Scans these paths, or everything when there are none. False when it was stopped.
    static bool ScanInProcess(const varnindex::ScanOptions &options,
                              const std::vector<std::string> &paths = {});

    // The library without ids and dates, to compare two that were made of the same folders.
    static Rows Content();
};

}  // namespace tonvale_test
