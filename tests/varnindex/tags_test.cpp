#include "varnindex/tags.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <taglib/apetag.h>
#include <taglib/id3v1tag.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4file.h>
#include <taglib/mpegfile.h>
#include <taglib/textidentificationframe.h>
#include <taglib/tpropertymap.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "support/fixture.h"
#include "varnindex/format.h"
#include "varnindex/names.h"
#include "varnindex/samples.h"

namespace {

off_t readableEnd = std::numeric_limits<off_t>::max();
int errorBehind = 0;

// While it lives, no byte behind the first `readable` ones of a file can be read: they are gone, or
// with an error number refused.
class BrokenDisk {
  public:
    BrokenDisk(off_t readable, int error) {
        readableEnd = readable;
        errorBehind = error;
    }
    ~BrokenDisk() { readableEnd = std::numeric_limits<off_t>::max(); }
    BrokenDisk(const BrokenDisk &) = delete;
    BrokenDisk &operator=(const BrokenDisk &) = delete;
};

}  // namespace

// Found before that of the C library.
extern "C" ssize_t pread(int file, void *out, size_t size, off_t position) {
    if (position >= readableEnd) {
        errno = errorBehind;
        return errorBehind != 0 ? -1 : 0;
    }
    const auto left = static_cast<size_t>(readableEnd - position);
    return syscall(SYS_pread64, file, out, std::min(size, left), position);
}

namespace {

namespace fs = std::filesystem;
using namespace varnindex;
using tonvale_test::Samples;
using Names = std::vector<std::string>;

class TagsTest : public tonvale_test::SystemTest {
  protected:
    static void SetUpTestSuite() { SilenceTagLib(); }

    static ReadResult Read(const fs::path &path) { return ReadSong(path.string(), 12, 34); }

    // A copy of a sample below the scratch folder, to be changed.
    static fs::path Copy(const std::string &sample, const std::string &name) {
        const fs::path path = scratch() / name;
        fs::create_directories(path.parent_path());
        fs::copy_file(Samples() / sample, path, fs::copy_options::overwrite_existing);
        return path;
    }

    static fs::path Write(const std::string &name, const std::string &bytes) {
        std::ofstream(scratch() / name, std::ios::binary) << bytes;
        return scratch() / name;
    }

    // The sample's audio with a tag in front of it.
    static fs::path WithTag(const std::string &name, TagLib::ID3v2::Tag &tag) {
        const TagLib::ByteVector bytes = tag.render();
        return Write(name,
                     std::string(bytes.data(), bytes.size()) + ReadFile(Samples() / "plain.mp3"));
    }
};

TagLib::String Text(const std::string &text) {
    return {text, TagLib::String::UTF8};
}

TEST_F(TagsTest, EveryFormatGivesTheSameSong) {
    struct Case {
        const char *name;
        const char *container;
        const char *codec;
    };
    const std::vector<Case> cases = {{"tone.mp3", "mp3", "mp3"},    {"tone.flac", "flac", "flac"},
                                     {"tone.ogg", "ogg", "vorbis"}, {"tone.opus", "ogg", "opus"},
                                     {"tone.m4a", "mp4", "aac"},    {"alac.m4a", "mp4", "alac"},
                                     {"tone.wav", "wav", "pcm"},    {"tone.aiff", "aiff", "pcm"},
                                     {"tone.wma", "asf", "wmav2"},  {"tone.wv", "wv", "wavpack"}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const ReadResult read = Read(Samples() / c.name);
        ASSERT_TRUE(read.song) << read.problem;
        const Song &song = *read.song;
        EXPECT_EQ(song.container, c.container);
        EXPECT_EQ(song.codec, c.codec);
        EXPECT_EQ(song.sampleRate, 48000);
        EXPECT_EQ(song.channels, 2);
        EXPECT_NEAR(song.duration, 1.0, 0.1);
        EXPECT_GT(song.bitRate, 8'000);  // bits, not kilobits
        EXPECT_LT(song.bitRate, 2'000'000);
        EXPECT_EQ(song.size, 12);
        EXPECT_EQ(song.modified, 34);
        EXPECT_EQ(song.title, "The Tóne");
        EXPECT_EQ(song.titleSort, "Tóne");
        EXPECT_EQ(song.album, "A Test");
        EXPECT_EQ(song.albumSort, "Test");
        EXPECT_EQ(song.artist, "O'Brien");
        EXPECT_EQ(song.genres, (Names{"Rock", "Jazz"}));
        EXPECT_EQ(song.year, 2003);
        EXPECT_EQ(song.track, 3);
        if (song.container != "wav") {  // its own list of tags has no field for these
            EXPECT_EQ(song.albumArtist, "The Band");
            EXPECT_EQ(song.albumArtistSort, "Band");
            EXPECT_EQ(song.composer, "Bach");
            EXPECT_EQ(song.disc, 2);
        }
        EXPECT_FALSE(song.gain.IsTagged());
    }
}

TEST_F(TagsTest, NamesOfMusicInAnyCase) {
    for (const char *name : {"a.mp3", "a.b.FLAC", "x.OgG", ".m4a"}) {
        EXPECT_TRUE(IsMusicName(name)) << name;
    }
    for (const char *name :
         {"mp3", "a.mp", "a.mp34", "a.mp3 ", "folder.jpg", "a.", "", "film.mp4"}) {
        EXPECT_FALSE(IsMusicName(name)) << name;
    }
}

TEST_F(TagsTest, AFileWithoutTagsIsNamedByItsPath) {
    const ReadResult plain = Read(Copy("plain.mp3", "The Album/01. A Song.Live.mp3"));
    ASSERT_TRUE(plain.song);
    EXPECT_EQ(plain.song->title, "01. A Song.Live");
    EXPECT_EQ(plain.song->album, "The Album");
    EXPECT_EQ(plain.song->albumSort, "Album");
    EXPECT_EQ(plain.song->artist, "");
    EXPECT_TRUE(plain.song->genres.empty());
    // With an artist known, the folder says nothing about the album.
    TagLib::ID3v2::Tag tag;
    tag.setArtist("Somebody");
    const ReadResult tagged = Read(WithTag("song.mp3", tag));
    ASSERT_TRUE(tagged.song);
    EXPECT_EQ(tagged.song->title, "song");
    EXPECT_EQ(tagged.song->album, "");
}

TEST_F(TagsTest, TheSecondTagFillsWhatTheFirstLeavesOpen) {
    const fs::path path = Copy("plain.mp3", "two.mp3");
    {
        TagLib::MPEG::File file(path.c_str());
        file.ID3v2Tag(true)->setTitle("Long title");
        file.ID3v1Tag(true)->setTitle("Short");
        file.ID3v1Tag()->setArtist("Artist");
        file.ID3v1Tag()->setYear(1987);
        file.ID3v1Tag()->setGenre("Jazz");
        file.save(TagLib::MPEG::File::AllTags, TagLib::File::StripNone, TagLib::ID3v2::v4,
                  TagLib::File::DoNotDuplicate);
    }
    const ReadResult read = Read(path);
    ASSERT_TRUE(read.song);
    EXPECT_EQ(read.song->title, "Long title");
    EXPECT_EQ(read.song->artist, "Artist");
    EXPECT_EQ(read.song->year, 1987);
    EXPECT_EQ(read.song->genres, Names{"Jazz"});
}

TEST_F(TagsTest, ManyValuesSortNamesAndReplayGain) {
    TagLib::PropertyMap tags;
    tags["ARTIST"] = TagLib::StringList("One").append("Two\r\n");
    tags["ARTISTSORT"] = TagLib::StringList("Zwei");
    tags["GENRE"] = TagLib::StringList("17").append("Rock").append("R&B/Soul");
    tags["COMMENT"] = TagLib::StringList(Text("Zeile\r\nzwei"));
    tags["DATE"] = TagLib::StringList("20030501");
    tags["REPLAYGAIN_TRACK_GAIN"] = TagLib::StringList("-6.20 dB");
    tags["REPLAYGAIN_ALBUM_PEAK"] = TagLib::StringList("+0.988553");
    tags["REPLAYGAIN_ALBUM_GAIN"] = TagLib::StringList("nan");
    TagLib::ID3v2::Tag tag;
    tag.setProperties(tags);
    const ReadResult read = Read(WithTag("many.mp3", tag));
    ASSERT_TRUE(read.song);
    const Song &song = *read.song;
    EXPECT_EQ(song.artist, "One, Two");
    EXPECT_EQ(song.artistSort, "Zwei");
    EXPECT_EQ(song.genres, (Names{"Rock", "R&B/Soul"}));
    EXPECT_EQ(song.comment, "Zeile  zwei");
    EXPECT_EQ(song.year, 2003);
    EXPECT_FLOAT_EQ(song.gain.trackGain.value_or(0), -6.2F);
    EXPECT_FLOAT_EQ(song.gain.albumPeak.value_or(0), 0.988553F);
    EXPECT_FALSE(song.gain.albumGain);
    EXPECT_FALSE(song.gain.trackPeak);
}

TEST_F(TagsTest, ReplayGainOfMp4) {
    const fs::path path = Copy("tone.m4a", "gain.m4a");
    {
        TagLib::MP4::File file(path.c_str());
        file.tag()->setItem("----:com.apple.iTunes:replaygain_track_gain",
                            TagLib::StringList("3.5 dB"));
        ASSERT_TRUE(file.save());
    }
    const ReadResult read = Read(path);
    ASSERT_TRUE(read.song);
    EXPECT_FLOAT_EQ(read.song->gain.trackGain.value_or(0), 3.5F);
}

TEST_F(TagsTest, WhatIsNoAudioIsRefused) {
    const std::string flac = ReadFile(Samples() / "tone.flac");
    const std::string mp3 = ReadFile(Samples() / "plain.mp3");
    const std::vector<fs::path> damaged = {Write("empty.mp3", ""),
                                           Write("text.mp3", "Dear diary,\n"),
                                           Write("text.flac", "fLaC"),
                                           Write("cut.flac", flac.substr(0, 20)),
                                           Write("zeros.ogg", std::string(5000, '\0')),
                                           Write("named.wav", mp3),
                                           Write("named.m4a", flac),
                                           Write("tag-only.mp3", "ID3\3\0\0\x7F\x7F\x7F\x7F")};
    for (const fs::path &path : damaged) {
        const ReadResult read = Read(path);
        EXPECT_FALSE(read.song) << path;
        EXPECT_EQ(read.problem, "not audio or damaged") << path;
    }
    EXPECT_EQ(Read(scratch() / "missing.mp3").problem, "No such file or directory");
    ASSERT_EQ(mkfifo((scratch() / "pipe.mp3").c_str(), 0600), 0);
    EXPECT_EQ(Read(scratch() / "pipe.mp3").problem, "not a regular file");
}

TEST_F(TagsTest, ADamagedTagOnGoodAudioIsReadAsFarAsItGoes) {
    TagLib::ID3v2::Tag tag;
    tag.setTitle("Kept");
    tag.setAlbum(std::string(2000, 'x'));
    std::string bytes = ReadFile(WithTag("good.mp3", tag));
    const std::size_t album = bytes.find("TALB");
    ASSERT_NE(album, bytes.npos);
    bytes.replace(album + 4, 4, "\x7F\x7F\x7F\x7F");  // a frame longer than its file
    const ReadResult read = Read(Write("damaged.mp3", bytes));
    ASSERT_TRUE(read.song) << read.problem;
    EXPECT_EQ(read.song->title, "Kept");
    EXPECT_EQ(read.song->album, "");
    EXPECT_NEAR(read.song->duration, 1.0, 0.2);
}

// Whatever a file holds, what comes out of it can be stored.
TEST_F(TagsTest, FlippedBytesNeverGiveTextThatCannotBeStored) {
    std::mt19937 random(7);
    for (const char *name : {"tone.mp3", "tone.flac", "tone.ogg", "tone.opus", "tone.m4a",
                             "tone.wav", "tone.aiff", "tone.wma", "tone.wv"}) {
        const std::string sample = ReadFile(Samples() / name);
        for (int round = 0; round < 60; ++round) {
            std::string bytes = sample;
            for (int i = 0; i < 20; ++i) {  // most of the structure stands at the front
                bytes[random() % std::min<std::size_t>(bytes.size(), 600)] =
                    static_cast<char>(random());
            }
            bytes.resize(round % 3 == 0 ? random() % bytes.size() : bytes.size());
            const ReadResult read = Read(Write(name, bytes));
            if (!read.song) {
                EXPECT_FALSE(read.problem.empty());
                continue;
            }
            const Song &song = *read.song;
            Names texts = song.genres;
            texts.insert(texts.end(), {song.title, song.album, song.artist, song.albumArtist,
                                       song.composer, song.comment});
            for (const std::string &text : texts) {
                EXPECT_TRUE(IsUtf8(text)) << name << " " << round;
                EXPECT_EQ(text.find('\0'), text.npos) << name << " " << round;
            }
            EXPECT_GE(song.duration, 0);
            EXPECT_GE(song.bitRate, 0);
        }
    }
}

// The tags alone are no reason to forget what the library has of the song.
TEST_F(TagsTest, AFileThatCannotBeReadToItsEndIsNoSong) {
    for (const char *name : {"tone.mp3", "tone.flac", "tone.ogg", "tone.m4a", "tone.wv"}) {
        const std::string bytes = ReadFile(Samples() / name);
        const fs::path path = Write(name, bytes);
        for (const int error : {EIO, 0}) {
            for (const std::size_t part : {std::size_t{0}, bytes.size() / 2, bytes.size() - 1}) {
                const BrokenDisk disk(static_cast<off_t>(part), error);
                const ReadResult read = Read(path);
                EXPECT_FALSE(read.song) << name << " " << part;
                EXPECT_EQ(read.problem, "cannot be read to its end") << name << " " << part;
                EXPECT_FALSE(read.isDamaged);
            }
        }
        EXPECT_TRUE(Read(path).song) << name;
    }
}

// However far TagLib has to look for its beginning and its end.
TEST_F(TagsTest, OtherAudioHasAnotherFingerprint) {
    std::string audio = ReadFile(Samples() / "plain.mp3");
    audio.erase(0, audio.find("\xFF\xFB"));  // a tag would tell where it begins
    std::string other = audio;
    other[3000] = static_cast<char>(~other[3000]);
    const std::string front(1'800'000, '\0');
    const std::string back(5'000'000, '\0');
    const auto song = [&](const std::string &sound, bool isTagged) {
        const fs::path path = Write("song.mp3", isTagged ? sound + back : front + sound);
        if (isTagged) {
            TagLib::MPEG::File file(path.c_str());
            file.APETag(true)->setTitle("Behind");
            EXPECT_TRUE(file.save());
        }
        const ReadResult read = Read(path);
        EXPECT_TRUE(read.song) << read.problem;
        return read.song.value_or(Song()).fingerprint;
    };
    EXPECT_NE(song(audio, false), song(other, false));
    EXPECT_NE(song(audio, true), song(other, true));
}

// Each of these ended the process, or kept it busy for minutes.
TEST_F(TagsTest, FilesThatExhaustTheirReader) {
    const auto number = [](std::uint32_t value) {
        return std::string{static_cast<char>(value >> 24), static_cast<char>(value >> 16),
                           static_cast<char>(value >> 8), static_cast<char>(value)};
    };
    std::string atoms;
    for (std::uint32_t depth = 60'000; depth > 0; --depth) {
        atoms += number(depth * 8) + "moov";
    }
    std::string chapters;
    for (std::uint32_t depth = 20'000; depth > 0; --depth) {
        chapters +=
            "CHAP" + number(depth * 28 - 10) + std::string(2, '\0') + "x" + std::string(17, '\0');
    }
    const auto size = static_cast<std::uint32_t>(chapters.size());
    const std::string tag = std::string("ID3\3\0\0", 6) +
                            number((size >> 21) << 24 | (size >> 14 & 127) << 16 |
                                   (size >> 7 & 127) << 8 | (size & 127)) +
                            chapters;
    const fs::path zeros = Write("zeros.mp3", "x");
    fs::resize_file(zeros, std::uintmax_t{4} << 30);
    EXPECT_NE(Read(Write("atoms.m4a", atoms)).problem, "");
    EXPECT_NE(Read(Write("chapters.mp3", tag + ReadFile(Samples() / "plain.mp3"))).warning, "");
    EXPECT_NE(Read(zeros).problem, "");
}

}  // namespace
