// The indexer as a program, with a folder of music and a database.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "programs/command.h"
#include "support/fixture.h"
#include "varn/systempath.h"
#include "varnindex/samples.h"

namespace tonvale_test {

class IndexTest : public DatabaseTest {
  public:
    using Words = std::vector<std::string>;
    using Path = fs::path;

  protected:
    void SetUp() override;

    static Path Music() { return scratch() / "music"; }

    static void Register(const std::vector<Path> &folders);

    // Runs the indexer to its end.
    static Finished Index(const Words &arguments = {}, const Words &variables = {});

    // The counts of a summary that are not 0, after "!" for exit status 1 and "?" for another.
    static std::string Shown(int status, const std::string &summary);

    // Playlists and cue sheets are compared only when `expected` tells of them.
    static void Expect(const Finished &run, const std::string &expected);

    // A copy of a sample below the music folder.
    static Path Put(const std::string &name, const std::string &sample = "tone.mp3");

    // A song with the given title and genre.
    static Path PutTagged(const std::string &name, const std::string &title,
                          const std::string &genre = "");

    // All that the indexer has stored of songs, in a fixed order.
    static Rows Everything();

    // The number of rows in all side tables.
    static std::string SideRows();
};

}  // namespace tonvale_test
