#include "varnindex/read/tags.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <taglib/apetag.h>
#include <taglib/attachedpictureframe.h>
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
#include <initializer_list>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "support/fixture.h"
#include "varn/process.h"
#include "varn/systempath.h"
#include "varnindex/descriptor.h"
#include "varnindex/read/prober.h"
#include "varnindex/samples.h"

namespace {

off_t readableEnd = std::numeric_limits<off_t>::max();
int errorAfter = 0;

// While it lives, only the first `readable` bytes of a file can be read. A read after them gives
// the error, or the end of the file when the error is 0.
class BrokenDisk {
  public:
    BrokenDisk(off_t readable, int error) {
        readableEnd = readable;
        errorAfter = error;
    }
    ~BrokenDisk() { readableEnd = std::numeric_limits<off_t>::max(); }
    BrokenDisk(const BrokenDisk &) = delete;
    BrokenDisk &operator=(const BrokenDisk &) = delete;
};

}  // namespace

// Found before that of the C library.
extern "C" ssize_t pread(int file, void *out, size_t size, off_t position) {
    if (position >= readableEnd) {
        errno = errorAfter;
        return errorAfter != 0 ? -1 : 0;
    }
    const auto left = static_cast<size_t>(readableEnd - position);
    return syscall(SYS_pread64, file, out, std::min(size, left), position);
}

namespace {

namespace fs = std::filesystem;
using namespace varnindex;
using tonvale_test::Ffmpeg;
using tonvale_test::Samples;
using Names = std::vector<std::string>;

class TagsTest : public tonvale_test::SystemTest {
  protected:
    static void SetUpTestSuite() { SilenceTagLib(); }

    static ReadResult Read(const fs::path &path) { return ReadSong({path.string(), 12, 34}); }

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

std::string Repeated(const std::string &part, int times) {
    std::string all;
    for (int i = 0; i < times; ++i) {
        all += part;
    }
    return all;
}

TEST_F(TagsTest, EveryFormatGivesTheSameSong) {
    struct Case {
        const char *name;
        const char *format;
        const char *encoder = nullptr;  // of a file that is no sample
        Names options = {};
    };
    for (const Case &c : std::initializer_list<Case>{
             {"tone.mp3", "mp3 mp3"},
             {"tone.flac", "flac flac"},
             {"tone.ogg", "ogg vorbis"},
             {"tone.opus", "ogg opus"},
             {"tone.m4a", "mp4 aac"},
             {"alac.m4a", "mp4 alac"},
             {"tone.wav", "wav pcm"},
             {"tone.aiff", "aiff pcm"},
             {"tone.wma", "asf wmav2"},
             {"tone.wv", "wv wavpack"},
             {"tone.aac", "adts aac"},
             {"tone.mka", "matroska vorbis"},
             {"fragments.m4a", "mp4 aac"},
             {"without-length.mka", "matroska aac", "aac", {"-live", "1"}},
             {"ac3.m4a", "mp4 ac3", "ac3", {"-f", "mp4"}},
             {"opus.m4a", "mp4 opus", "libopus", {"-f", "mp4"}},
             {"keys.m4a", "mp4 aac", "aac", {"-movflags", "use_metadata_tags"}},
             {"more.m4a", "mp4 aac", "aac", {"-frag_duration", "300000"}},
             {"without-length.ogg", "ogg flac", "flac", {"-f", "ogg"}},
             {"mp3.flac", "mp3 mp3", "libmp3lame", {"-f", "mp3"}},
             {"flac.mp3", "flac flac", "flac", {"-f", "flac"}},
             {"64.m4a", "wav pcm", "pcm_s16le", {"-f", "wav", "-rf64", "always"}},
             {"m4a.wv", "mp4 aac", "aac", {"-f", "ipod"}},
             {"adts.mp3", "adts aac", "aac", {"-f", "adts", "-write_id3v2", "1"}}}) {
        SCOPED_TRACE(c.name);
        if (c.encoder != nullptr) {
            tonvale_test::MakeTone(scratch() / c.name, c.encoder, true, c.options);
        }
        const ReadResult read = Read((c.encoder != nullptr ? scratch() : Samples()) / c.name);
        ASSERT_TRUE(read.song) << read.problem;
        const Song &song = *read.song;
        EXPECT_EQ(song.container + ' ' + song.codec, c.format);
        EXPECT_EQ(std::pair(song.sampleRate, song.channels), std::pair(48000, 2));
        EXPECT_NEAR(song.duration, 1.0, 0.1);
        EXPECT_GT(song.bitRate, 8'000);  // bits, not kilobits
        EXPECT_LT(song.bitRate, 2'000'000);
        EXPECT_EQ(std::pair(song.size, song.modified),
                  std::pair(std::int64_t{12}, std::int64_t{34}));
        EXPECT_EQ(song.title + '|' + song.titleSort + '|' + song.album + '|' + song.albumSort +
                      '|' + song.artist + '|' + std::to_string(song.year) + '|' +
                      std::to_string(song.track),
                  "The Tóne|Tóne|A Test|Test|O'Brien|2003|3");
        EXPECT_EQ(song.genres, (Names{"Rock", "Jazz"}));
        if (song.container != "wav") {  // its own list of tags has no field for these
            EXPECT_EQ(song.albumArtist + '|' + song.albumArtistSort + '|' + song.composer + '|' +
                          std::to_string(song.disc),
                      "The Band|Band|Bach|2");
        }
        EXPECT_FALSE(song.gain.IsTagged());
    }
}

// A program that writes to a pipe cannot go back to the header, and a copy may be cut.
TEST_F(TagsTest, TheLengthIsThatOfTheSoundWhereTheHeaderIsWrong) {
    const auto expect = [](const std::string &name, const std::string &bytes, double seconds) {
        const ReadResult read = Read(Write(name, bytes));
        ASSERT_TRUE(read.song) << name << ": " << read.problem;
        EXPECT_NEAR(read.song->duration, seconds, 0.05) << name;
    };
    const std::string wav = ReadFile(Samples() / "tone.wav");
    const std::string longest = "\xFF\xFF\xFF\xFF";
    const std::string zero(4, '\0');
    const std::size_t data = wav.find("data");
    const auto sized = [&](const std::string &whole, const std::string &sound) {
        return std::string(wav).replace(data + 4, 4, sound).replace(4, 4, whole);
    };
    expect("longest.wav", sized(longest, longest), 1);
    expect("zero.wav", sized(zero, zero), 1);
    expect("more.wav", sized(std::string(4, '\1'), std::string(4, '\1')), 1);
    expect("half.wav", wav.substr(0, data + 8 + (wav.size() - data) / 2), 0.5);
    std::string flac = ReadFile(Samples() / "tone.flac");
    expect("piped.flac", flac.replace(22, 4, zero), 1);  // the number of samples

    Ffmpeg({"-f", "lavfi", "-i", "aevalsrc='if(lt(t,2),0,random(0)-0.5)':d=4:s=44100", "-c:a",
            "libmp3lame", "-q:a", "4", "-write_xing", "0", scratch() / "vbr.mp3"});
    expect("vbr.mp3", ReadFile(scratch() / "vbr.mp3"), 4);
    const std::string mp3 = ReadFile(Samples() / "tone.mp3");
    expect("joined.mp3", mp3 + std::string(5000, '\0') + mp3, 2.1);
    expect("half.mp3", mp3.substr(0, mp3.size() / 2), 0.5);
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

TEST_F(TagsTest, TagsOfOtherFormatsAreRead) {
    const auto text = [](const TagLib::ByteVector &bytes) {
        return std::string(bytes.data(), bytes.size());
    };
    TagLib::ID3v2::Tag id3;
    id3.setTitle("In front");
    id3.setGenre("Rock");
    auto date = std::make_unique<TagLib::ID3v2::TextIdentificationFrame>("TDRL");
    date->setText("1999-05-01");
    id3.addFrame(date.release());  // the tag owns it
    auto picture = std::make_unique<TagLib::ID3v2::AttachedPictureFrame>();
    picture->setPicture("\xFF\xD8\xFF");
    id3.addFrame(picture.release());
    const std::string front = text(id3.render());
    TagLib::ID3v2::Tag first;
    first.setArtist("First");
    TagLib::APE::Tag ape;
    ape.setArtist("Behind");
    tonvale_test::MakeTone(scratch() / "a.tta", "tta", false);
    const std::string tta = ReadFile(scratch() / "a.tta");
    const std::string mp3 = ReadFile(Samples() / "plain.mp3");
    std::string old = "TAG" + std::string(125, '\0');  // ID3v1
    old.replace(3, 8, "In front").replace(33, 6, "Nobody").replace(93, 4, "1999")[127] = 8;
    struct Case {
        const char *name;
        std::string bytes;
        const char *artist;
        const char *genre;
        int pictures;
    };
    for (const Case &c : {Case{"old.mp3", text(first.render()) + mp3 + old, "First", "Jazz", 0},
                          {"both.tta", front + tta + text(ape.render()), "Behind", "Rock", 1}}) {
        SCOPED_TRACE(c.name);
        const ReadResult read = Read(Write(c.name, c.bytes));
        ASSERT_TRUE(read.song) << read.problem;
        EXPECT_EQ(read.song->title, "In front");
        EXPECT_EQ(read.song->artist, c.artist);
        EXPECT_EQ(read.song->genres, Names{c.genre});
        EXPECT_EQ(read.song->year, 1999);
        EXPECT_EQ(read.song->pictures, c.pictures);
    }
    tonvale_test::MakeTone(scratch() / "chunk.aiff", "pcm_s16be", true);
    EXPECT_EQ(Read(scratch() / "chunk.aiff").song->title, "The Tóne");
}

TEST_F(TagsTest, ManyValuesSortNamesAndReplayGainAreRead) {
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
    const fs::path path = Copy("tone.m4a", "gain.m4a");
    TagLib::MP4::File file(path.c_str());
    file.tag()->setItem("----:com.apple.iTunes:replaygain_track_gain",
                        TagLib::StringList("3.5 dB"));
    ASSERT_TRUE(file.save());
    EXPECT_FLOAT_EQ(Read(path).song->gain.trackGain.value_or(0), 3.5F);
}

TEST_F(TagsTest, WhatIsNoAudioIsRefused) {
    const std::string flac = ReadFile(Samples() / "tone.flac");
    const std::string unknown = "its contents are no audio format that is known";
    const std::string noSound = "no sound is found in it, as if it were damaged; its format is ";
    for (const auto &[path, problem] :
         {std::pair(Write("empty.mp3", ""), unknown),
          {Write("text.mp3", "Dear diary,\n"), unknown},
          {Write("text.flac", "fLaC"), noSound + "flac"},
          {Write("cut.mp3", flac.substr(0, 20)), noSound + "flac"},
          {Write("zeros.ogg", std::string(5000, '\0')), unknown},
          {Write("cut.mka", "\x1A\x45\xDF\xA3\x80"), noSound + "matroska"},
          {Write("tag-only.mp3", "ID3\3\0\0\x7F\x7F\x7F\x7F"), unknown}}) {
        const ReadResult read = Read(path);
        EXPECT_FALSE(read.song) << path;
        EXPECT_EQ(read.problem, problem) << path;
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

// Its tags alone must not replace what the library has of the song.
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
            }
        }
        EXPECT_TRUE(Read(path).song) << name;
    }
}

// Even where TagLib has to look far for the beginning or the end of the audio.
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

TEST_F(TagsTest, AProberReadsTheOpenedFileWithFewRights) {
    const fs::path path = Write("locked.mka", "sound");
    fs::permissions(path, fs::perms(0600));
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    fs::remove(path);
    EXPECT_EQ(AskProber(file.Get(), {"/bin/cat", "/proc/self/fd/0"}), "sound");
    const std::string status = AskProber(file.Get(), {"/bin/cat", "/proc/self/status"});
    const uid_t uid = IsRoot() ? GetUserIdFromName(varn::kPackageAccount) : geteuid();
    const std::string ids = Repeated("\t" + std::to_string(uid), 4);
    EXPECT_NE(status.find("Uid:" + ids + "\n"), status.npos) << status;
    const std::string reads = IsRoot() ? "0000000000000004" : "0000000000000000";
    EXPECT_NE(status.find("CapEff:\t" + reads), status.npos) << status;
    EXPECT_EQ(AskProber(file.Get(), {"/usr/bin/yes"}), "") << "no end";
    EXPECT_THROW(AskProber(file.Get(), {"/usr/bin/not-installed"}), std::runtime_error);
}

// Each of these ended the process, or kept it busy for minutes.
TEST_F(TagsTest, FilesThatExhaustTheirReaderAreReadInTime) {
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

    const std::string frame = "\xFF\xFB\x90\x64" + std::string(413, '\0');
    const std::string other = "\xFF\xFB\xA0\x64" + std::string(518, '\0');
    const std::string junk = Repeated("\xFF\xFB\x90\x64", 15'000) + Repeated(frame, 3);
    const ReadResult read =
        Read(Write("junk.mp3", other + Repeated(frame, 40) + Repeated(junk, 100)));
    ASSERT_TRUE(read.song);
    EXPECT_LT(read.song->duration, 9);
}

}  // namespace
