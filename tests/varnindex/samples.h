// Real audio files for the indexer's tests, made by ffmpeg once per run.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/environment.h"
#include "varn/process.h"

namespace tonvale_test {

// A second of a tone as "NAME", tagged by ffmpeg unless `tagged` says otherwise.
inline void MakeTone(const std::filesystem::path &path, const std::string &encoder, bool tagged) {
    std::vector<std::string> words = {
        "ffmpeg", "-nostdin", "-v",   "error", "-f",      "lavfi", "-i",       "sine=d=1:r=48000",
        "-ac",    "2",        "-c:a", encoder, "-strict", "-2",    "-bitexact"};
    if (tagged) {
        for (const char *tag :
             {"title=The Tóne", "album=A Test", "artist=O'Brien", "album_artist=The Band",
              "composer=Bach", "genre=Rock; Jazz", "date=2003", "track=3/12", "disc=2"}) {
            words.insert(words.end(), {"-metadata", tag});
        }
        if (encoder == "wmav2") {  // ffmpeg does not know the name that the format has for it
            words.insert(words.end(), {"-metadata", "WM/Year=2003"});
        }
        if (encoder == "pcm_s16be") {  // AIFF keeps its tags in an ID3 chunk when asked to
            words.insert(words.end(), {"-write_id3v2", "1"});
        }
    }
    words.push_back(path.string());
    std::vector<char *> argv;
    for (std::string &word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    ASSERT_EQ(VLIBCExecv("/usr/bin/ffmpeg", argv.data(), 1), 0) << path;
}

// The folder of the samples: tone.EXT in nine formats, alac.m4a, and plain.mp3 without tags.
inline const std::filesystem::path &Samples() {
    static const std::filesystem::path folder = [] {
        const auto path = Environment::Folder() / "samples";
        std::filesystem::create_directory(path);
        MakeTone(path / "tone.mp3", "libmp3lame", true);
        MakeTone(path / "tone.flac", "flac", true);
        MakeTone(path / "tone.ogg", "libvorbis", true);
        MakeTone(path / "tone.opus", "libopus", true);
        MakeTone(path / "tone.m4a", "aac", true);
        MakeTone(path / "tone.wav", "pcm_s16le", true);
        MakeTone(path / "tone.aiff", "pcm_s16be", true);
        MakeTone(path / "tone.wma", "wmav2", true);
        MakeTone(path / "tone.wv", "wavpack", true);
        MakeTone(path / "alac.m4a", "alac", true);
        MakeTone(path / "plain.mp3", "libmp3lame", false);
        return path;
    }();
    return folder;
}

}  // namespace tonvale_test
