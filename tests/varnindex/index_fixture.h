// Tests of the indexer as it runs: a folder of music, the program, and the database behind it.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <taglib/id3v2tag.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "support/fixture.h"
#include "varn/systempath.h"
#include "varnindex/samples.h"

namespace tonvale_test {

struct Ended {
    int status = -1;
    std::string out;
    std::string err;
};

class IndexTest : public DatabaseTest {
  public:
    using Words = std::vector<std::string>;
    using Environment = std::vector<std::pair<std::string, std::string>>;
    using Path = std::filesystem::path;

  protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        Samples();
        std::filesystem::create_directory(Music());
        Register({Music()});
    }

    static Path Music() { return scratch() / "music"; }

    static void Register(const std::vector<Path> &folders) {
        std::string text;
        for (const Path &folder : folders) {
            text += folder.string() + "\n";
        }
        WriteFile(varn::path::kIndexFolders, text);
    }

    // Starts the indexer; what it prints goes into Out() and Err().
    static pid_t Start(const Words &arguments = {}, const Environment &environment = {}) {
        const pid_t child = fork();
        if (child == 0) {
            Become(arguments, environment, Out(), Err());
        }
        return child;
    }

    // Runs it to its end.
    static Ended Index(const Words &arguments = {}, const Environment &environment = {}) {
        const pid_t child = Start(arguments, environment);
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(Out()), ReadFile(Err())};
    }

    static Path Out() { return scratch() / "out.txt"; }
    static Path Err() { return scratch() / "err.txt"; }

    // `summary` may leave out what the line tells of playlists.
    static void Expect(const Ended &run, int status, const std::string &summary) {
        EXPECT_EQ(run.status, status) << run.err;
        const bool withLists = summary.find(';') != summary.npos;
        const std::size_t end = withLists ? run.out.npos : run.out.find(';');
        EXPECT_EQ(run.out.substr(0, end), summary + (end == run.out.npos ? "\n" : "")) << run.err;
    }

    // A copy of a sample below the music folder.
    static Path Put(const std::string &name, const std::string &sample = "tone.mp3") {
        const Path path = Music() / name;
        std::filesystem::create_directories(path.parent_path());
        std::filesystem::copy_file(Samples() / sample, path,
                                   std::filesystem::copy_options::overwrite_existing);
        return path;
    }

    // A song with the given title and genre.
    static Path PutTagged(const std::string &name, const std::string &title,
                          const std::string &genre = "") {
        TagLib::ID3v2::Tag tag;
        tag.setTitle({title, TagLib::String::UTF8});
        tag.setGenre({genre, TagLib::String::UTF8});
        const TagLib::ByteVector bytes = tag.render();
        const Path path = Music() / name;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary)
            << std::string(bytes.data(), bytes.size()) << ReadFile(Samples() / "plain.mp3");
        return path;
    }

    // Every stored value that the indexer answers for, in a fixed order.
    static Rows Everything() {
        return Query(
            "SELECT t::text, a::text, r::text, c::text, g::text FROM track t"
            " LEFT JOIN album_track a ON a.track = t.id LEFT JOIN artist_track r ON r.track = t.id"
            " LEFT JOIN composer_track c ON c.track = t.id"
            " LEFT JOIN genre_track g ON g.track = t.id ORDER BY t.id, g.genre");
    }

    // The number of rows in all side tables.
    static std::string SideRows() {
        return Value(
            "SELECT (SELECT count(*) FROM album_track) + (SELECT count(*) FROM artist_track)"
            " + (SELECT count(*) FROM composer_track) + (SELECT count(*) FROM genre_track)"
            " + (SELECT count(*) FROM replaygain_track)");
    }

  private:
    [[noreturn]] static void Become(const Words &arguments, const Environment &environment,
                                    const Path &out, const Path &err) {
        for (const auto &[name, value] : environment) {
            setenv(name.c_str(), value.c_str(), 1);
        }
        dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), STDOUT_FILENO);
        dup2(open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600), STDERR_FILENO);
        Words words = {TONVALE_PROGRAM_DIR "/varnindex"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        std::vector<char *> argv;
        for (std::string &word : words) {
            argv.push_back(word.data());
        }
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
};

}  // namespace tonvale_test
