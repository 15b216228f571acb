// The base of every test: a fresh root, captured log lines, a private database.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "varn/database.h"

namespace tonvale_test {

namespace fs = std::filesystem;

// The words of a text, separated by blanks.
std::vector<std::string> Words(const std::string &text);

// The lines of a log without the program's name, each with "#" for the line of the source.
std::string LogTexts(const std::vector<std::string> &log);

// Standard output (1) or error (2) of this process, into memory, for the length of a scope.
class Captured {
  public:
    explicit Captured(int number);
    ~Captured();
    Captured(const Captured &) = delete;
    Captured &operator=(const Captured &) = delete;
    std::string Text() const;

  private:
    int number_, memory_, saved_;
};

// A fresh root before each test: the folders, accounts and configuration that PrepareRoot makes,
// and two users with homes and personal libraries, alice (1030) and bob (1031). After the test it
// must have left no child, no descriptor and no temporary file.
class SystemTest : public testing::Test {
  protected:
    static constexpr unsigned kAlice = 1030;
    static constexpr unsigned kBob = 1031;

    void SetUp() override;
    void TearDown() override;

    // The root; the same folder for all tests of this process.
    static const fs::path &root();
    // Where a fixed system path lies below the root.
    static fs::path At(std::string_view fixedPath);
    // Writes a file, making its folders. The path is a fixed system path.
    static void WriteFile(std::string_view fixedPath, std::string_view text);
    // The same at any path.
    static void Touch(const fs::path &path, std::string_view text = "");
    static std::string ReadFile(const fs::path &path);
    static void MakeAdministrator(const std::string &user);
    // A folder for a test's own files, outside the root, empty at the start of each test.
    static const fs::path &scratch();

    // The lines that were logged since the test began or the log was last cleared.
    std::vector<std::string> Log() const;
    void ClearLog();
    // True when a logged line matches the regular expression (ECMAScript) somewhere.
    bool Logged(const std::string &pattern) const;

    static bool IsRoot();
    // Some calls leave the process running as the package's account; every test ends as it began.
    static void BackToRoot();

  private:
    std::unique_ptr<Captured> stderr_;
    std::size_t logStart_ = 0;
    std::vector<std::string> descriptors_;
};

// A SystemTest with a running cluster and a fresh, migrated, empty database. After the test it must
// have left no connection.
class DatabaseTest : public SystemTest {
  protected:
    using Rows = std::vector<std::vector<std::string>>;

    void SetUp() override;
    void TearDown() override;

    // Runs a statement as the package's role and returns the rows as text, NULL as "". A failure
    // fails the test.
    static Rows Query(const std::string &sql);
    // The first field of the first row.
    static std::string Value(const std::string &sql);
};

// One track with its side rows; what is not set is empty.
struct TrackRow {
    int id = 0;
    unsigned userid = 0;
    std::string path = {};
    std::string title = {};
    std::string album = {};
    std::string artist = {};
    std::string album_artist = {};
    std::string composer = {};
    std::vector<std::string> genres = {};
    int year = 0;
    int track = 0;
    bool is_virtual = false;
    bool has_virtual = false;
};

// The statements that store one track as the indexer would.
std::string InsertSql(const TrackRow &row);

}  // namespace tonvale_test
