#include "varnindex/samples.h"

#include <utility>

namespace tonvale_test {

void MakeTone(const std::filesystem::path &path, const std::string &encoder, bool tagged,
              const std::vector<std::string> &options) {
    std::vector<std::string> words = {"-f",      "lavfi", "-i",       "sine=d=1:r=48000",
                                      "-ac",     "2",     "-c:a",     encoder,
                                      "-strict", "-2",    "-bitexact"};
    if (tagged) {
        for (const char *tag :
             {"title=The Tóne", "album=A Test", "artist=O'Brien", "album_artist=The Band",
              "composer=Bach", "genre=Rock; Jazz", "date=2003", "track=3/12", "disc=2"}) {
            words.insert(words.end(), {"-metadata", tag});
        }
    }
    words.insert(words.end(), options.begin(), options.end());
    words.push_back(path.string());
    Ffmpeg(std::move(words));
}

const std::filesystem::path &Samples() {
    static const std::filesystem::path folder = [] {
        const auto path = Environment::Folder() / "samples";
        std::filesystem::create_directory(path);
        for (const std::string kind :
             {"mp3 libmp3lame", "flac flac", "ogg libvorbis", "opus libopus", "m4a aac",
              "wav pcm_s16le", "wma wmav2", "wv wavpack", "mka libvorbis"}) {
            const std::size_t blank = kind.find(' ');
            MakeTone(path / ("tone." + kind.substr(0, blank)), kind.substr(blank + 1), true);
        }
        MakeTone(path / "alac.m4a", "alac", true);
        // AIFF keeps its tags in an ID3 chunk when asked to.
        MakeTone(path / "tone.aiff", "pcm_s16be", true, {"-write_id3v2", "1"});
        MakeTone(path / "tone.aac", "aac", true, {"-write_id3v2", "1"});
        MakeTone(path / "fragments.m4a", "aac", true,
                 {"-movflags", "empty_moov", "-frag_duration", "300000"});
        MakeTone(path / "plain.mp3", "libmp3lame", false);
        return path;
    }();
    return folder;
}

}  // namespace tonvale_test
