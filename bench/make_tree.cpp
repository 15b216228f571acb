// make-tree DIR COUNT [--seed N]: a tree of tagged audio files to measure an indexer with: MP3 of
// several kinds, and FLAC and M4A with pictures, whose sound is a hole on the
// disk where no indexer reads.
// The same arguments give the same tree, byte for byte.
#include <taglib/commentsframe.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2framefactory.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4file.h>
#include <taglib/tbytevectorstream.h>
#include <taglib/textidentificationframe.h>
#include <taglib/tpropertymap.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>

#include "sounds.h"

namespace {

constexpr int kTracksPerAlbum = 10;
constexpr int kAlbumsPerArtist = 4;
constexpr std::size_t kPictureBytes = 500'000;

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
    int seconds = 120;
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

std::string Numbered(const std::string &name, int number) {
    std::string digits = std::to_string(number);
    digits.insert(0, digits.size() < 5 ? 5 - digits.size() : 0, '0');
    return name + " " + digits;
}

struct Album {
    std::string artist;
    std::string title;
    std::string composer;
    std::string year;
    TagLib::StringList genres;
    bench::Sound sound = bench::Sound::kConstant;
    bool isNewTag = false;  // of an MP3 file: ID3v2.4
};

// Of a hundred albums 68 are MP3 of a constant bit rate, 20 have a table, 2 none; 6 are FLAC, 4
// M4A.
bench::Sound SoundOf(std::size_t percent) {
    return percent < 68   ? bench::Sound::kConstant
           : percent < 88 ? bench::Sound::kTable
           : percent < 90 ? bench::Sound::kNoTable
           : percent < 96 ? bench::Sound::kFlac
                          : bench::Sound::kM4a;
}

Album MakeAlbum(int number, Picker &picker) {
    Album album;
    album.artist = Numbered("Artist", number / kAlbumsPerArtist);
    album.title = Numbered(picker.Name(), number);
    album.composer = "Composer " + picker.Name();
    album.sound = SoundOf(picker.Below(100));
    album.isNewTag = picker.Below(4) == 0;
    album.year = std::to_string(1960 + picker.Below(60));
    album.genres.append(TagLib::String(picker.Word(kGenres), TagLib::String::UTF8));
    if (picker.Below(3) == 0) {
        album.genres.append(TagLib::String(picker.Word(kGenres), TagLib::String::UTF8));
    }
    return album;
}

TagLib::PropertyMap Texts(const Album &album, const std::string &title, int track) {
    const auto text = [](const std::string &value) {
        return TagLib::StringList(TagLib::String(value, TagLib::String::UTF8));
    };
    TagLib::PropertyMap texts;
    texts["TITLE"] = text(title);
    texts["ARTIST"] = text(album.artist);
    texts["ALBUMARTIST"] = text(album.artist);
    texts["ALBUM"] = text(album.title);
    texts["COMPOSER"] = text(album.composer);
    texts["COMMENT"] = text("Track " + std::to_string(track) + " of " + album.title);
    texts["DATE"] = text(album.year);
    texts["TRACKNUMBER"] = text(std::to_string(track) + "/" + std::to_string(kTracksPerAlbum));
    texts["GENRE"] = album.genres;
    return texts;
}

// The older version in UTF-16, as most programs write it; several genres are a list only in the
// later one.
std::string Id3(const Album &album, const TagLib::PropertyMap &texts) {
    TagLib::ID3v2::Tag tag;
    tag.setProperties(texts);
    const bool isNew = album.isNewTag || album.genres.size() > 1;
    for (TagLib::ID3v2::Frame *const frame : tag.frameList()) {
        const auto encoding = isNew ? TagLib::String::UTF8 : TagLib::String::UTF16;
        if (auto *const text = dynamic_cast<TagLib::ID3v2::TextIdentificationFrame *>(frame)) {
            text->setTextEncoding(encoding);
        } else if (auto *const comment = dynamic_cast<TagLib::ID3v2::CommentsFrame *>(frame)) {
            comment->setTextEncoding(encoding);
        }
    }
    const TagLib::ByteVector bytes = tag.render(isNew ? TagLib::ID3v2::v4 : TagLib::ID3v2::v3);
    return {bytes.data(), bytes.size()};
}

// A JPEG of some 500 kB.
const std::string &Noise() {
    static const std::string noise = [] {
        const std::unique_ptr<std::FILE, decltype(&pclose)> converter(
            popen("convert -seed 1 -size 900x900 xc:gray +noise Random -quality 85 jpg:-", "r"),
            pclose);
        std::string picture(2 * kPictureBytes, '\0');
        picture.resize(std::fread(picture.data(), 1, picture.size(), converter.get()));
        if (picture.size() < kPictureBytes) {
            throw std::runtime_error("convert makes no picture");
        }
        return picture;
    }();
    return noise;
}

// With the album's title as a comment, so that no two are the same.
TagLib::ByteVector Picture(const Album &album) {
    constexpr std::size_t kStart = 2;
    const std::string size = {'\0', static_cast<char>(album.title.size() + 2)};
    std::string picture = Noise();
    picture.insert(kStart, "\xFF\xFE" + size + album.title);
    return {picture.data(), static_cast<unsigned>(picture.size())};
}

std::string Flac(const bench::Song &song, const TagLib::PropertyMap &texts,
                 const TagLib::ByteVector &cover) {
    const std::string head = bench::Head(song);
    TagLib::ByteVectorStream stream({head.data(), static_cast<unsigned>(head.size())});
    TagLib::FLAC::File file(&stream, TagLib::ID3v2::FrameFactory::instance(), false);
    file.setProperties(texts);
    auto *const picture = new TagLib::FLAC::Picture;  // the file owns it
    picture->setType(TagLib::FLAC::Picture::FrontCover);
    picture->setMimeType("image/jpeg");
    picture->setData(cover);
    file.addPicture(picture);
    file.save();
    return {stream.data()->data(), stream.data()->size()};
}

std::string M4a(const bench::Song &song, const TagLib::PropertyMap &texts,
                const TagLib::ByteVector &cover) {
    using TagLib::MP4::CoverArt;
    const std::string head = bench::Head(song);
    TagLib::ByteVectorStream stream({head.data(), static_cast<unsigned>(head.size())});
    TagLib::MP4::File file(&stream, false);
    file.setProperties(texts);
    TagLib::MP4::CoverArtList covers;
    covers.append(CoverArt(CoverArt::JPEG, cover));
    file.tag()->setItem("covr", covers);
    file.save();
    return {stream.data()->data(), stream.data()->size()};
}

void DrawProgress(int done, int total) {
    constexpr int kWidth = 30;
    const int filled = static_cast<int>(static_cast<long long>(done) * kWidth / total);
    std::cerr << "\rWriting [" << std::string(filled, '#') << std::string(kWidth - filled, ' ')
              << "] " << done << '/' << total << (done == total ? "\n" : "") << std::flush;
}

void MakeSong(const std::filesystem::path &folder, const Album &album, int number, int seconds,
              Picker &picker) {
    const int track = number % kTracksPerAlbum + 1;
    const std::string title = picker.Name();
    const TagLib::PropertyMap texts = Texts(album, title, track);
    bench::Song song{
        album.sound,
        seconds + static_cast<int>(picker.Below(2 * static_cast<std::size_t>(seconds))), number,
        ""};
    std::string extension = ".mp3";
    if (song.sound == bench::Sound::kFlac) {
        song.front = Flac(song, texts, Picture(album));
        extension = ".flac";
    } else if (song.sound == bench::Sound::kM4a) {
        song.front = M4a(song, texts, Picture(album));
        extension = ".m4a";
    } else {
        song.front = Id3(album, texts);
    }
    const std::string name = (track < 10 ? "0" : "") + std::to_string(track) + " " + title;
    bench::WriteSong(folder / (name + extension), song);
}

void MakeTree(const Options &options) {
    const bool isTerminal = isatty(STDERR_FILENO) == 1;
    Picker picker(options.seed);
    Album album;
    std::filesystem::path folder;
    for (int i = 0; i < options.count; ++i) {
        if (i % kTracksPerAlbum == 0) {
            album = MakeAlbum(i / kTracksPerAlbum, picker);
            folder = std::filesystem::path(options.folder) / album.artist / album.title;
            std::filesystem::create_directories(folder);
        }
        MakeSong(folder, album, i, options.seconds, picker);
        if (isTerminal && ((i + 1) % 100 == 0 || i + 1 == options.count)) {
            DrawProgress(i + 1, options.count);
        }
    }
}

}  // namespace

int main(int argc, char **argv) {
    Options options;
    CLI::App app("Writes a tree of tagged audio files.", "make-tree");
    app.add_option("DIR", options.folder, "Folder of the tree, made when missing")->required();
    app.add_option("COUNT", options.count, "Number of files")
        ->required()
        ->check(CLI::PositiveNumber);
    app.add_option("--seed", options.seed, "Another tree of the same shape");
    app.add_option("--seconds", options.seconds,
                   "The shortest song; the longest is three times that")
        ->check(CLI::Range(2, 3600));
    CLI11_PARSE(app, argc, argv);
    try {
        MakeTree(options);
        return EXIT_SUCCESS;
    } catch (const std::exception &error) {
        std::cerr << "make-tree: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
