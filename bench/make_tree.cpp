// make-tree DIR COUNT [--seed N]: a tree of tagged one-second MP3 files to measure an indexer with.
// The same arguments give the same tree, byte for byte.
#include <taglib/id3v2tag.h>
#include <taglib/textidentificationframe.h>
#include <taglib/tpropertymap.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <random>
#include <stdexcept>
#include <string>

namespace {

constexpr int kTracksPerAlbum = 10;
constexpr int kAlbumsPerArtist = 4;

constexpr std::array kAdjectives = {"Silent", "Étoile", "Golden", "Überall", "Broken", "Northern",
                                    "夜の",   "Paper",  "Ночной", "Velvet",  "Hollow", "Señor"};
constexpr std::array kNouns = {"River", "Mañana", "Garden", "Straße",  "Mirror", "Harbour",
                               "星空",  "Engine", "Город",  "Lantern", "Forest", "O'Brien"};
constexpr std::array kGenres = {"Rock", "Jazz",    "Électro", "Folk",   "Classical",
                                "Soul", "Hip-Hop", "Ambient", "Techno", "民謡"};

struct Options {
    std::string folder;
    int count = 0;
    unsigned seed = 1;
};

// Picks by the bare engine: the standard's distributions differ from library to library.
class Picker {
  public:
    explicit Picker(unsigned seed) : engine_(seed) {}

    std::size_t Below(std::size_t limit) { return engine_() % limit; }

    template <typename Words>
    std::string Word(const Words &words) {
        return words[Below(words.size())];
    }

    std::string Name() { return Word(kAdjectives) + " " + Word(kNouns); }

  private:
    std::mt19937 engine_;
};

// MPEG-1 layer III, 128 kbit/s, 44.1 kHz, joint stereo: frames of 417 bytes, 1152 samples each.
// Zero side information says that no frequency line has a value, which is silence.
std::string OneSecondOfSilence() {
    constexpr int kFrames = 38;
    std::string frame(417, '\0');
    frame.replace(0, 4, "\xFF\xFB\x90\x64");
    std::string audio;
    for (int i = 0; i < kFrames; ++i) {
        audio += frame;
    }
    return audio;
}

std::string Numbered(const std::string &name, int number) {
    std::string digits = std::to_string(number);
    digits.insert(0, digits.size() < 5 ? 5 - digits.size() : 0, '0');
    return name + " " + digits;
}

struct Album {
    std::string artist;
    std::string title;
    std::string year;
    TagLib::StringList genres;
};

Album MakeAlbum(int number, Picker &picker) {
    Album album;
    album.artist = Numbered("Artist", number / kAlbumsPerArtist);
    album.title = Numbered(picker.Name(), number);
    album.year = std::to_string(1960 + picker.Below(60));
    album.genres.append(TagLib::String(picker.Word(kGenres), TagLib::String::UTF8));
    if (picker.Below(3) == 0) {
        album.genres.append(TagLib::String(picker.Word(kGenres), TagLib::String::UTF8));
    }
    return album;
}

std::string MakeTag(const Album &album, const std::string &title, int track) {
    const auto text = [](const std::string &value) {
        return TagLib::StringList(TagLib::String(value, TagLib::String::UTF8));
    };
    TagLib::PropertyMap properties;
    properties["TITLE"] = text(title);
    properties["ARTIST"] = text(album.artist);
    properties["ALBUMARTIST"] = text(album.artist);
    properties["ALBUM"] = text(album.title);
    properties["DATE"] = text(album.year);
    properties["TRACKNUMBER"] = text(std::to_string(track) + "/" + std::to_string(kTracksPerAlbum));
    properties["GENRE"] = album.genres;
    TagLib::ID3v2::Tag tag;
    tag.setProperties(properties);
    // Several genres are a list only in the later version.
    const bool isList = album.genres.size() > 1;
    const TagLib::ByteVector bytes = tag.render(isList ? TagLib::ID3v2::v4 : TagLib::ID3v2::v3);
    return {bytes.data(), bytes.size()};
}

void WriteFile(const std::filesystem::path &path, const std::string &tag,
               const std::string &audio) {
    std::ofstream file(path, std::ios::binary);
    file << tag << audio;
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

void DrawProgress(int done, int total) {
    constexpr int kWidth = 30;
    const int filled = static_cast<int>(static_cast<long long>(done) * kWidth / total);
    std::cerr << "\rWriting [" << std::string(filled, '#') << std::string(kWidth - filled, ' ')
              << "] " << done << '/' << total << (done == total ? "\n" : "") << std::flush;
}

void MakeTree(const Options &options) {
    const bool isTerminal = isatty(STDERR_FILENO) == 1;
    const std::string audio = OneSecondOfSilence();
    Picker picker(options.seed);
    Album album;
    std::filesystem::path folder;
    for (int i = 0; i < options.count; ++i) {
        const int track = i % kTracksPerAlbum + 1;
        if (track == 1) {
            album = MakeAlbum(i / kTracksPerAlbum, picker);
            folder = std::filesystem::path(options.folder) / album.artist / album.title;
            std::filesystem::create_directories(folder);
        }
        const std::string title = picker.Name();
        const std::string name = (track < 10 ? "0" : "") + std::to_string(track) + " " + title;
        WriteFile(folder / (name + ".mp3"), MakeTag(album, title, track), audio);
        if (isTerminal && ((i + 1) % 100 == 0 || i + 1 == options.count)) {
            DrawProgress(i + 1, options.count);
        }
    }
}

}  // namespace

int main(int argc, char **argv) {
    Options options;
    CLI::App app("Writes a tree of tagged one-second MP3 files.", "make-tree");
    app.add_option("DIR", options.folder, "Folder of the tree, made when missing")->required();
    app.add_option("COUNT", options.count, "Number of files")
        ->required()
        ->check(CLI::PositiveNumber);
    app.add_option("--seed", options.seed, "Another tree of the same shape");
    CLI11_PARSE(app, argc, argv);
    try {
        MakeTree(options);
        return EXIT_SUCCESS;
    } catch (const std::exception &error) {
        std::cerr << "make-tree: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
