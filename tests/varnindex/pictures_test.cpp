#include "varnindex/read/pictures.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <taglib/aifffile.h>
#include <taglib/apetag.h>
#include <taglib/asffile.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4file.h>
#include <taglib/mpegfile.h>
#include <taglib/opusfile.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/wavpackfile.h>

#include <fstream>
#include <iostream>
#include <sstream>

#include "support/fixture.h"
#include "varnindex/read/inspect.h"
#include "varnindex/read/open_audio.h"
#include "varnindex/read/stream.h"
#include "varnindex/read/tags.h"
#include "varnindex/samples.h"

namespace {

using namespace tonvale_test;
using TagLib::ByteVector;

class PicturesTest : public SystemTest {
  protected:
    void SetUp() override {
        Samples();
        SystemTest::SetUp();
        varnindex::SilenceTagLib();
    }

    // Made once: red.png, green.png and blue.jpg.
    static const fs::path &Images() {
        static const fs::path folder = [] {
            const fs::path images = Environment::Folder() / "images";
            fs::create_directory(images);
            for (const std::string name : {"red.png", "green.png", "blue.jpg"}) {
                MakeSound(images / name, "color=" + name.substr(0, name.find('.')) + ":s=64x64",
                          "-frames:v 1 -bitexact");
            }
            return images;
        }();
        return folder;
    }

    static ByteVector Image(const std::string &name) {
        const std::string bytes = ReadFile(Images() / name);
        return {bytes.data(), static_cast<unsigned>(bytes.size())};
    }

    // A copy of a sample.
    static fs::path Put(const std::string &sample) {
        const fs::path path = scratch() / sample;
        fs::copy_file(Samples() / sample, path, fs::copy_options::overwrite_existing);
        return path;
    }

    // A sample with a picture that ffmpeg attached.
    static fs::path Attach(const std::string &sample, const std::string &image) {
        const fs::path path = scratch() / ("with-" + sample);
        Ffmpeg({"-i", Samples() / sample, "-i", Images() / image, "-map", "0", "-map", "1", "-c",
                "copy", "-disposition:v:0", "attached_pic", "-metadata:s:v",
                "comment=Cover (front)", path});
        return path;
    }

    struct Frame {
        ByteVector data;
        const char *mime = "image/png";
    };

    static void SetFrames(const fs::path &path, const std::vector<Frame> &frames) {
        TagLib::MPEG::File file(path.c_str());
        file.ID3v2Tag(true)->removeFrames("APIC");
        for (const Frame &frame : frames) {
            auto picture = std::make_unique<TagLib::ID3v2::AttachedPictureFrame>();
            picture->setPicture(frame.data);
            picture->setMimeType(frame.mime);
            file.ID3v2Tag()->addFrame(picture.release());  // the tag owns it
        }
        ASSERT_TRUE(file.save());
    }

    // Reads the file as the indexer does.
    static int Store(const fs::path &path, std::string &problem) {
        const auto stream = varnindex::OpenStream(path, {}, problem);
        EXPECT_TRUE(stream) << problem;
        const auto pictures = varnindex::ListPictures(varnindex::OpenAudio(path.string(), *stream));
        problem = varnindex::StoreCover(pictures, path);
        return static_cast<int>(pictures.size());
    }
    static int Store(const fs::path &path) {
        std::string problem;
        const int count = Store(path, problem);
        EXPECT_EQ(problem, "") << path;
        return count;
    }

    static fs::path EaFolder(const fs::path &path) {
        return path.parent_path() / "@eaDir" / path.filename();
    }

    // Name and content of what is in the extended-attribute folder of a file.
    static std::vector<std::pair<std::string, std::string>> Kept(const fs::path &path) {
        std::vector<std::pair<std::string, std::string>> files;
        if (fs::exists(EaFolder(path))) {
            for (const auto &entry : fs::directory_iterator(EaFolder(path))) {
                files.emplace_back(entry.path().filename(), ReadFile(entry.path()));
            }
        }
        return files;
    }
    static void ExpectKept(const fs::path &path, const std::string &name,
                           const std::string &image) {
        const auto kept = Kept(path);
        ASSERT_EQ(kept.size(), 1U) << path;
        EXPECT_EQ(kept.front().first, name) << path;
        EXPECT_TRUE(kept.front().second == ReadFile(Images() / image)) << path;
    }
};

TEST_F(PicturesTest, FilesOfOtherProgramsGiveTheirCover) {
    const mode_t before = umask(0077);
    for (const char *sample : {"tone.mp3", "tone.flac", "tone.m4a"}) {
        for (const auto &[image, name] :
             {std::pair("red.png", "APIC.png"), {"blue.jpg", "APIC.jpg"}}) {
            const fs::path path = Attach(sample, image);
            EXPECT_EQ(Store(path), 1) << path;
            ExpectKept(path, name, image);
            EXPECT_EQ(fs::status(EaFolder(path) / name).permissions(), fs::perms(0644));
        }
    }
    umask(before);
    const fs::path matroska = scratch() / "attached.mka";
    Ffmpeg({"-i", Samples() / "tone.mka", "-attach", Images() / "red.png", "-attach",
            Images() / "blue.jpg", "-metadata:s:t", "mimetype=image/png", "-metadata:s:t:1",
            "mimetype=image/jpeg", "-metadata:s:t:1", "filename=cover.jpg", "-c", "copy",
            matroska});
    EXPECT_EQ(Store(matroska), 1);
    ExpectKept(matroska, "APIC.jpg", "blue.jpg");
    EXPECT_EQ(Store(Put("tone.mp3")), 0);
    EXPECT_FALSE(fs::exists(EaFolder(scratch() / "tone.mp3")));
}

class TaggedPicturesTest : public PicturesTest {
  protected:
    // A copy of a sample, changed through TagLib.
    template <typename File, typename Change>
    static fs::path Tagged(const std::string &sample, const Change &change) {
        const fs::path path = Put(sample);
        File file(path.c_str());
        change(file);
        EXPECT_TRUE(file.save()) << path;
        return path;
    }

    // A back cover, then the front cover. All formats have the same numbers for these types.
    template <typename Add>
    static void AddBoth(const Add &add) {
        add(Image("red.png"), 4);
        add(Image("green.png"), 3);
    }
    template <typename Target>
    static void AddXiph(Target &target) {
        AddBoth([&](const ByteVector &image, int type) {
            auto picture = std::make_unique<TagLib::FLAC::Picture>();
            picture->setData(image);
            picture->setType(static_cast<TagLib::FLAC::Picture::Type>(type));
            target.addPicture(picture.release());  // the tag owns it
        });
    }
    static void AddAsf(TagLib::ASF::File &file) {
        AddBoth([&](const ByteVector &image, int type) {
            TagLib::ASF::Picture picture;
            picture.setPicture(image);
            picture.setType(static_cast<TagLib::ASF::Picture::Type>(type));
            file.tag()->addAttribute("WM/Picture", picture);
        });
    }
    static void AddApe(TagLib::WavPack::File &file) {
        AddBoth([&](const ByteVector &image, int type) {
            const ByteVector item = ByteVector("name") + ByteVector(1, '\0') + image;
            const char *const key = type == 3 ? "Cover Art (Front)" : "Cover Art (Back)";
            file.APETag(true)->setItem(key, TagLib::APE::Item(key, item, true));
        });
    }
    static void AddId3(TagLib::ID3v2::Tag &tag) {
        using Frame = TagLib::ID3v2::AttachedPictureFrame;
        AddBoth([&](const ByteVector &image, int type) {
            auto frame = std::make_unique<Frame>();
            frame->setPicture(image);
            frame->setType(static_cast<Frame::Type>(type));
            tag.addFrame(frame.release());  // the tag owns it
        });
    }
};

TEST_F(TaggedPicturesTest, EveryKindOfTagGivesItsFrontCover) {
    using namespace TagLib;
    const auto xiph = [](auto &file) { AddXiph(*file.tag()); };
    for (const fs::path &path :
         {Tagged<Ogg::Vorbis::File>("tone.ogg", xiph), Tagged<Ogg::Opus::File>("tone.opus", xiph),
          Tagged<FLAC::File>("tone.flac", [](auto &file) { AddXiph(file); }),
          Tagged<ASF::File>("tone.wma", AddAsf), Tagged<WavPack::File>("tone.wv", AddApe),
          Tagged<MPEG::File>("tone.mp3", [](auto &file) { AddId3(*file.ID3v2Tag(true)); }),
          Tagged<RIFF::WAV::File>("tone.wav", [](auto &file) { AddId3(*file.ID3v2Tag()); }),
          Tagged<RIFF::AIFF::File>("tone.aiff", [](auto &file) { AddId3(*file.tag()); })}) {
        EXPECT_EQ(Store(path), 2) << path;
        ExpectKept(path, "APIC.png", "green.png");
    }
}

TEST_F(PicturesTest, TheExtractedCoverFollowsTheFile) {
    const fs::path path = Put("tone.mp3");
    const auto inode = [&](const char *name) {
        struct stat info {};
        EXPECT_EQ(stat((EaFolder(path) / name).c_str(), &info), 0);
        return info.st_ino;
    };
    SetFrames(path, {{Image("red.png")}});
    Store(path);
    // Held open, so that its number is not given to the next file.
    std::ifstream held(EaFolder(path) / "APIC.png");
    const auto first = inode("APIC.png");
    Store(path);
    EXPECT_EQ(inode("APIC.png"), first) << "written again";
    std::ofstream(EaFolder(path) / ".cover.tmp") << "what a crash left";
    SetFrames(path, {{Image("green.png")}});
    Store(path);
    ExpectKept(path, "APIC.png", "green.png");
    SetFrames(path, {{Image("blue.jpg")}});
    Store(path);
    ExpectKept(path, "APIC.jpg", "blue.jpg");
    std::ofstream(EaFolder(path) / "rating") << "of another program";
    SetFrames(path, {});
    EXPECT_EQ(Store(path), 0);
    ASSERT_EQ(Kept(path).size(), 1U);
    EXPECT_EQ(Kept(path).front().first, "rating");
}

TEST_F(PicturesTest, APictureOfNoUseIsOnlyCounted) {
    const fs::path path = Put("tone.mp3");
    ByteVector huge(17U << 20, '\0');
    std::copy_n(Image("red.png").begin(), 8, huge.begin());
    const std::vector<std::vector<Frame>> useless = {{{ByteVector("http://host/cover.png"), "-->"}},
                                                     {{ByteVector("<svg/>")}},
                                                     {{ByteVector("\x89PNG", 4)}}};
    for (const auto &frames : useless) {
        SetFrames(path, frames);
        EXPECT_EQ(Store(path), 1);
        EXPECT_TRUE(Kept(path).empty());
    }
    // The next one that can be used is taken.
    SetFrames(path, {useless[1][0], {Image("red.png")}});
    EXPECT_EQ(Store(path), 2);
    ExpectKept(path, "APIC.png", "red.png");
    EXPECT_EQ(varnindex::StoreCover({{huge, true}}, path), "");
    EXPECT_TRUE(Kept(path).empty()) << "the cover that is too large now";
}

TEST_F(PicturesTest, AFolderThatCannotBeWrittenFailsNoSong) {
    const fs::path path = Attach("tone.mp3", "red.png");
    const fs::path elsewhere = scratch() / "elsewhere";
    fs::create_directories(elsewhere / path.filename());
    const auto expectProblem = [&](const char *what) {
        std::string problem;
        EXPECT_EQ(Store(path, problem), 1) << what;
        EXPECT_NE(problem.find("@eaDir"), std::string::npos) << what;
        EXPECT_TRUE(fs::is_empty(elsewhere / path.filename())) << what;
        fs::remove_all(scratch() / "@eaDir");
    };
    std::ofstream(scratch() / "@eaDir") << "a file in the way";
    expectProblem("a file");
    fs::create_directory_symlink(elsewhere, scratch() / "@eaDir");
    expectProblem("a link");
    fs::create_directories(EaFolder(path).parent_path());
    fs::create_directory_symlink(elsewhere / path.filename(), EaFolder(path));
    expectProblem("a link of one file");
    fs::create_directories(EaFolder(path) / "APIC.png" / "full");
    expectProblem("a folder of the cover's name");
    EXPECT_EQ(Store(path), 1);
    ExpectKept(path, "APIC.png", "red.png");
}

// ---- inspect -----------------------------------------------------------------------------------

class InspectTest : public PicturesTest {
  protected:
    static std::string Inspect(const fs::path &path, int expected) {
        std::ostringstream text;
        std::streambuf *const before = std::cout.rdbuf(text.rdbuf());
        const int status = varnindex::Inspect(path);
        std::cout.rdbuf(before);
        EXPECT_EQ(status, expected) << text.str();
        return text.str();
    }
};

TEST_F(InspectTest, ShowsWhatIsReadAndWritesNothing) {
    const fs::path path = Attach("tone.flac", "red.png");
    std::ofstream(scratch() / "with-tone.cue")
        << "FILE \"with-tone.flac\" WAVE\n TRACK 01 AUDIO\n TITLE \"First\"\n INDEX 01 00:00:00\n"
           " TRACK 02 AUDIO\n TITLE \"Second\"\n INDEX 01 00:00:37\n";
    const std::string text = "\n" + Inspect(path, 0);
    for (const std::string &line :
         {"path: " + path.string(), std::string("container: flac"), std::string("duration: 1 s"),
          std::string("title sorted as: Tóne"), std::string("artist: O'Brien"),
          std::string("genre: Jazz"), std::string("year: 2003"), std::string("pictures: 1"),
          std::string("cue track: 1, at 0 s, First, O'Brien")}) {
        EXPECT_NE(text.find("\n" + line + "\n"), text.npos) << line << "\nin" << text;
    }
    EXPECT_FALSE(fs::exists(scratch() / "@eaDir"));
}

TEST_F(InspectTest, TellsWhyAFileIsSkipped) {
    const fs::path good = Samples() / "tone.mp3";
    fs::create_directories(scratch() / "lost+found");
    fs::copy_file(good, scratch() / "lost+found" / "a.mp3");
    fs::copy_file(good, scratch() / "song.txt");
    fs::copy_file(good, scratch() / "bad\xFF.mp3");
    std::ofstream(scratch() / "two\nlines.flac") << "fLaC and nothing else";
    ASSERT_EQ(mkfifo((scratch() / "fifo.mp3").c_str(), 0600), 0);
    for (const auto &[name, reason] : {std::pair("absent.mp3", "No such file"),
                                       {"fifo.mp3", "not a regular file"},
                                       {"lost+found/a.mp3", "lost+found"},
                                       {"song.txt", "not the name of an audio file"},
                                       {"bad\xFF.mp3", "not UTF-8"},
                                       {"two\nlines.flac", "no sound is found"}}) {
        const std::string text = Inspect(scratch() / name, 1);
        const std::string last = text.substr(text.rfind('\n', text.size() - 2) + 1);
        EXPECT_TRUE(last.starts_with("skipped: ")) << text;
        EXPECT_NE(last.find(reason), std::string::npos) << text;
    }
}

}  // namespace
