#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <tuple>

#include "misc/cover_fixture.h"
#include "misc/pictures.h"
#include "platform/child.h"
#include "tonvale/media.h"
#include "varn/descriptor.h"

namespace {

using namespace tonvale_test;

std::ptrdiff_t Entries(const fs::path &folder) {
    return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

class ScaledCoverTest : public CoverTest {
  protected:
    static constexpr char kName[] = "VARNAUDIO_ART_NBAUDIO.jpg";

    void SetUp() override {
        CoverTest::SetUp();
        song_ = Put(Music() / "song.mp3");
        source_ = Music() / "cover.jpg";
        scaled_ = EaDir(song_) / kName;
    }

    // Puts a script in the converter's place. "$5" is the picture and "$6" the result, both in the
    // folder that the library makes for them.
    static void SetConverter(const std::string &script) {
        SetPlainConverter(
            "folder=$TONVALE_CONVERTER_FOLDER; picture=$folder/picture\n"
            "[ -e \"$picture\" ] || picture=$5\n"
            "set -- \"$1\" \"$2\" \"$3\" \"$4\" \"$picture\" \"$folder/scaled.${6##*.}\"\n" +
            script);
    }
    // The same without the folder.
    static void SetPlainConverter(const std::string &script) {
        const fs::path converter = At(varn::path::kConvert);
        fs::remove(converter);  // a link to the host's
        std::ofstream(converter) << "#!/bin/sh\necho x >> " << (scratch() / "runs").string() << "\n"
                                 << script << "\n";
        fs::permissions(converter, fs::perms(0755));
    }
    static std::size_t Runs() { return ReadFile(scratch() / "runs").size() / 2; }

    std::string Scaled(const fs::path &song, const fs::path &source) const {
        return PathOf([&](char *buffer, int size) {
            return VARNAudioGetScaleCoverPath(song.c_str(), source.c_str(), buffer, size);
        });
    }
    std::string Scaled() const { return Scaled(song_, source_); }

    int Scale(const fs::path &source, const fs::path &target) const {
        return AsPackage([&] { return VARNAudioScaleImage(source.c_str(), target.c_str()); });
    }

    // The lines of the log, but those that a process without root's rights adds.
    std::ptrdiff_t Complaints() const {
        const std::vector<std::string> lines = Log();
        return std::count_if(lines.begin(), lines.end(), [this](const std::string &line) {
            return isRoot_ || line.find("Failed to chown") == std::string::npos;
        });
    }

    fs::path song_, source_, scaled_;
};

TEST_F(ScaledCoverTest, MakesTheCopyOnceForEachVersionOfTheSource) {
    SetConverter("echo new > \"$6\"");
    SetTime(Put(source_), 100);
    EXPECT_EQ(Scaled(), scaled_);
    EXPECT_EQ(Scaled(), scaled_);
    EXPECT_EQ(Runs(), 1U);
    SetTime(Put(scaled_, "old"), 100);
    EXPECT_EQ(Scaled(), scaled_) << "equal times do not tell which is newer";
    EXPECT_EQ(Runs(), 2U);
    EXPECT_EQ(ReadFile(scaled_), "new\n");
    SetTime(scaled_, 100, 1);
    EXPECT_EQ(Scaled(), scaled_) << "newer by a nanosecond";
    // A source from the future, by the clock of another machine.
    SetTime(source_, 1'500'000'000, 999'999'999);
    EXPECT_EQ(Scaled(), scaled_);
    EXPECT_EQ(Scaled(), scaled_);
    EXPECT_EQ(Runs(), 3U);
    EXPECT_EQ(Complaints(), 0);
    // A parent that ignored SIGCHLD, as some web servers do, must not cost the status.
    EXPECT_TRUE(HoldsInChild([this] {
        std::signal(SIGCHLD, SIG_IGN);
        EXPECT_EQ(VARNAudioScaleImage(source_.c_str(), (Music() / "out.jpg").c_str()), 0);
    }));
}

TEST_F(ScaledCoverTest, TakesOverCopiesOfEarlierVersions) {
    SetConverter("echo new > \"$6\"");
    SetTime(Put(source_), 100);
    const fs::path first = EaDir(song_) / "ART_NBAUDIO.jpg";
    const fs::path second = EaDir(song_) / "ART:NBAUDIO.jpg";
    SetTime(Put(first), 50);
    SetTime(Put(second), 101);
    EXPECT_EQ(Scaled(), second);
    EXPECT_FALSE(fs::exists(first)) << "out of date";
    SetTime(Put(first), 101);
    EXPECT_EQ(Scaled(), first);
    EXPECT_EQ(Runs(), 0U);
    SetTime(source_, 200);
    EXPECT_EQ(Scaled(), scaled_);
    EXPECT_FALSE(fs::exists(first) || fs::exists(second));
    EXPECT_EQ(Runs(), 1U);
    // A picture that is gone takes them along.
    fs::remove(source_);
    Put(first);
    Put(second);
    EXPECT_EQ(Scaled(), "none");
    EXPECT_EQ(Entries(EaDir(song_)), 1);
    EXPECT_EQ(ReadFile(scaled_), "new\n");
    EXPECT_EQ(Runs(), 1U);
}

TEST_F(ScaledCoverTest, RunsTheConverterWithTheAgreedArguments) {
    const std::string out = scratch() / "arguments";
    SetPlainConverter("printf '%s\\n' \"$@\" $MAGICK_TIME_LIMIT > " + out + "; echo new > \"$6\"");
    Put(source_);
    fs::create_directories(EaDir(song_));
    EXPECT_EQ(Scale(source_, scaled_), 0);
    EXPECT_EQ(ReadFile(out), "-size\n480x480>\n-thumbnail\n480x480>\n" + source_.native() + "\n" +
                                 scaled_.native() + "\n60\n");
    EXPECT_EQ(std::getenv("MAGICK_TIME_LIMIT"), nullptr);
    setenv("MAGICK_TIME_LIMIT", "7", 1);
    SetTime(scaled_, 0);
    EXPECT_EQ(Scaled(), scaled_);
    EXPECT_TRUE(ReadFile(out).ends_with("\n7\n")) << "the administrator's limit";
    EXPECT_STREQ(std::getenv("MAGICK_TIME_LIMIT"), "7");
    unsetenv("MAGICK_TIME_LIMIT");
    struct stat info = {};
    ASSERT_EQ(stat(scaled_.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0777U);
    EXPECT_TRUE(!isRoot_ || (info.st_uid == 1024 && info.st_gid == 100));
    EXPECT_EQ(Logged("audiolib/misc:[0-9]+ Failed to chown \\[.*\\] Operation not permitted"),
              !isRoot_);
}

TEST_F(ScaledCoverTest, LeavesNothingAfterAFailure) {
    Put(source_);
    const std::pair<const char *, const char *> kCases[] = {
        {"echo part > \"$6\"; exit 1", "Failed to convert file"},
        {"echo part > \"${6%.jpg}-0.jpg\"; echo part > \"${6%.jpg}-1.jpg\"; echo no >&2; exit 1",
         "Failed to convert file"},
        {"exec sleep 1000", "Failed to convert file"},  // longer than the limit
    };
    setenv("MAGICK_TIME_LIMIT", "1", 1);
    for (const auto &[script, line] : kCases) {
        SCOPED_TRACE(script);
        SetConverter(script);
        for (const bool stale : {false, true}) {
            if (stale) {
                SetTime(Put(scaled_, "earlier"), 0);
            }
            ClearLog();
            EXPECT_EQ(Scaled(), "none");
            EXPECT_EQ(Complaints(), 1);
            EXPECT_TRUE(Logged(std::string("audiolib/misc:[0-9]+ ") + line + " \\[.*\\]$"));
            EXPECT_EQ(stale ? ReadFile(scaled_) : "earlier", "earlier");
            fs::remove(scaled_);
            EXPECT_TRUE(fs::is_empty(EaDir(song_))) << "a part of a picture stayed";
        }
    }
    unsetenv("MAGICK_TIME_LIMIT");
    SetConverter("exit 0");
    EXPECT_EQ(Scaled(), "none");
    EXPECT_TRUE(Logged("audiolib/misc:[0-9]+ file not exists \\[" + scaled_.string() + "\\]$"));
    SetTime(Put(scaled_), 0);
    EXPECT_EQ(Scaled(), scaled_) << "there all the same";
    fs::remove(scaled_);
    fs::remove(At(varn::path::kConvert));
    ClearLog();
    EXPECT_EQ(Scaled(), "none");
    EXPECT_TRUE(Logged("Failed to convert file \\[" + source_.string() + "\\] to \\["));
}

TEST_F(ScaledCoverTest, ScalesRealPictures) {
    const std::tuple<const char *, const char *, const char *> kCases[] = {
        {"800x600", "a.jpg", "JPEG 480x360"}, {"100x4000", "b.png", "JPEG 12x480"},
        {"64x64", "c.jpg", "JPEG 64x64"},     {"1x1", "d.png", "JPEG 1x1"},
        {"480x480", "e.gif", "JPEG 480x480"}, {"9x9", "f.bmp", "JPEG 9x9"},
        {"9x9", "g.webp", "JPEG 9x9"}};
    for (const auto &[size, name, scaled] : kCases) {
        const fs::path song = Put(Music() / (std::string(name) + ".mp3"));
        Draw(size, Music() / name);
        ASSERT_EQ(Scaled(song, Music() / name), EaDir(song) / kName) << name;
        EXPECT_EQ(Identify(EaDir(song) / kName), scaled) << name;
    }
    EXPECT_EQ(Complaints(), 0);
}

TEST_F(ScaledCoverTest, TakesTheFirstFrameOfAnAnimation) {
    const fs::path animation = Music() / "a.gif";
    Output({"/usr/bin/convert", "-size", "50x40", "xc:red", "xc:blue", "xc:green", animation});
    // The old copy is replaced. The converter must not follow links under the names of its frames.
    const fs::path victim = Put(scratch() / "victim", "precious");
    SetTime(Put(scaled_, "old"), 0);
    for (const char *frame : {"VARNAUDIO_ART_NBAUDIO-0.jpg", "VARNAUDIO_ART_NBAUDIO-1.jpg"}) {
        fs::create_symlink(victim, EaDir(song_) / frame);
    }
    EXPECT_EQ(Scaled(song_, animation), scaled_);
    EXPECT_EQ(Identify(scaled_), "JPEG 50x40");
    EXPECT_EQ(ReadFile(victim), "precious");
    EXPECT_EQ(Entries(EaDir(song_)), 3);
}

TEST_F(ScaledCoverTest, ReadsFilesOnly) {
    SetConverter("echo new > \"$6\"");
    for (const fs::path &source : NoFiles()) {
        ClearLog();
        EXPECT_EQ(Scaled(song_, source), "none") << source;
        EXPECT_TRUE(Logged("Failed to convert file")) << source;
        EXPECT_TRUE(fs::is_empty(EaDir(song_))) << source;
    }
    Put(source_);
    fs::resize_file(source_, (64 << 20) + 1);
    EXPECT_EQ(Scaled(), "none") << "larger than a picture may be";
    EXPECT_EQ(Runs(), 0U);
}

TEST_F(ScaledCoverTest, FinishesForAClientThatHasLeft) {
    Put(source_);
    const fs::path result = scratch() / "result";
    fs::create_directories(EaDir(song_));
    for (const int signal : {SIGTERM, SIGHUP, SIGINT}) {
        fs::remove(scaled_);
        SetConverter("kill -" + std::to_string(signal) + " $PPID; sleep 0.2; printf %s \"$6\" > " +
                     result.string() + "; echo new > \"$6\"");
        const pid_t pid = fork();
        if (pid == 0) {
            std::signal(signal, SIG_DFL);
            VARNAudioScaleImage(source_.c_str(), scaled_.c_str());
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << "it ends after that";
        EXPECT_TRUE(fs::exists(scaled_)) << signal;
        ASSERT_NE(ReadFile(result), "");
        EXPECT_FALSE(fs::exists(fs::path(ReadFile(result)).parent_path())) << "the folder stays";
    }
}

TEST_F(ScaledCoverTest, ScalesIntoAnyFile) {
    Draw("900x600", source_);
    fs::create_directory(Music() / "dir.d");
    for (const auto &[target, what] : {std::pair(Music() / "out.png", "PNG 480x320"),
                                       {Music() / "dir.d" / "plain", "JPEG 480x320"},
                                       {source_, "JPEG 480x320"}}) {
        EXPECT_EQ(Scale(source_, target), 0) << target;
        EXPECT_EQ(fs::exists(target) ? Identify(target) : "", what) << target;
        EXPECT_EQ(fs::status(target).permissions(), fs::perms(0777)) << target;
    }
    // Names that mean something else to the converter.
    const fs::path before = fs::current_path();
    fs::current_path(Music() / "dir.d");
    for (const char *name : {"Cover [1].jpg", "x*.jpg", "x{1}.jpg", "x?.jpg", "x.jpg[0]", "-x.jpg",
                             "@x.jpg", "+append", "+cover.jpg", "("}) {
        fs::copy_file(source_, name);
        EXPECT_EQ(Scale(name, Music() / "out.png"), 0) << name;
    }
    fs::current_path(before);
    EXPECT_EQ(Scale(source_, Music() / "missing" / "out.jpg"), -1);
    EXPECT_TRUE(Logged("Failed to convert file \\[.*cover.jpg\\] to \\[.*/missing/out.jpg\\]$"));
    EXPECT_EQ(Scale(source_, Music() / "dir.d"), -1) << "a folder cannot be replaced";
    EXPECT_EQ(Entries(Music()), 4);
}

TEST_F(ScaledCoverTest, RefusesInvalidPictures) {
    // A picture's head with another size in it: 20,000 by 20,000.
    Draw("8x8", source_);
    std::string huge = ReadFile(source_);
    const std::size_t frame = huge.find("\xFF\xC0");
    ASSERT_NE(frame, std::string::npos);
    huge.replace(frame + 5, 4, "\x4E\x20\x4E\x20");
    for (const std::string &content :
         {std::string(), std::string("\xFF\xD8\xFF"), huge,
          std::string("push graphic-context\nimage over 0,0 0,0 \"/etc/passwd\"\n"),
          std::string("<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'/>")}) {
        Put(source_, content);
        ClearLog();
        EXPECT_EQ(Scaled(), "none") << content.size();
        EXPECT_FALSE(fs::exists(scaled_));
        EXPECT_TRUE(Logged("Failed to convert file"));
    }
}

TEST_F(ScaledCoverTest, FollowsNoLinkInThePlaceOfTheCopy) {
    Draw("600x600", source_);
    const fs::path victim = Put(scratch() / "victim", "precious");
    fs::permissions(victim, fs::perms(0600));
    const auto checkScaled = [&] {
        EXPECT_EQ(Scaled(), scaled_);
        EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(scaled_)));
        EXPECT_EQ(ReadFile(victim), "precious");
        EXPECT_EQ(fs::status(victim).permissions(), fs::perms(0600));
    };
    for (const auto link :
         {+[](const fs::path &to, const fs::path &at) { fs::create_symlink(to, at); },
          +[](const fs::path &to, const fs::path &at) { fs::create_hard_link(to, at); }}) {
        fs::create_directories(EaDir(song_));
        fs::remove(scaled_);
        link(victim, scaled_);
        SetTime(victim, 0);
        checkScaled();
    }
    // A link that appears while the converter runs.
    fs::remove(scaled_);
    SetConverter("ln -s '" + victim.string() + "' '" + scaled_.string() + "'; echo new > \"$6\"");
    checkScaled();
    // If a picture takes the converter over, it must not get a copy of another file.
    for (const char *link : {"ln -s", "ln"}) {
        fs::remove(scaled_);
        SetConverter(link + (" '" + victim.string() + "' \"$6\""));
        EXPECT_EQ(Scaled(), "none") << link;
    }
}

TEST_F(ScaledCoverTest, WritesIntoTheFolderThatItHasChecked) {
    const fs::path elsewhere = scratch() / "elsewhere";
    const fs::path aside = Music() / "@eaDir" / "aside";
    fs::create_directory(elsewhere);
    Put(source_);
    for (const bool isOfSong : {true, false}) {
        SetConverter("mv " + EaDir(song_).string() + " " + aside.string() + "; ln -s " +
                     elsewhere.string() + " " + EaDir(song_).string() + "; echo new > \"$6\"");
        fs::create_directories(EaDir(song_));
        EXPECT_TRUE(isOfSong ? Scaled() == scaled_ : Scale(source_, scaled_) == 0);
        EXPECT_TRUE(fs::is_empty(elsewhere)) << "a link was followed";
        EXPECT_EQ(ReadFile(aside / kName), "new\n");
        EXPECT_EQ(Entries(aside), 1);
        fs::remove(EaDir(song_));
        fs::remove_all(aside);
    }
}

TEST_F(ScaledCoverTest, MakesACopyOfAPictureThatIsOpen) {
    Put(source_, "open");
    const int picture = open(source_.c_str(), O_RDONLY | O_CLOEXEC);
    const varn::UniqueFd folder(open(Music().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    const std::string held = varn::DescriptorPath(folder.Get()) + "/" + song_.filename().string();
    const auto scale = [&] { return Scaled(held, varn::DescriptorPath(picture)); };
    fs::remove(source_);
    fs::create_symlink(Put(scratch() / "private.jpg", "private"), source_);
    SetConverter("cp \"$5\" \"$6\"");
    EXPECT_EQ(scale(), varn::DescriptorPath(folder.Get()) + "/@eaDir/song.mp3/" + kName);
    EXPECT_EQ(ReadFile(scaled_), "open");
    EXPECT_EQ(lseek(picture, 0, SEEK_CUR), 0) << "the caller's position has moved";
    SetTime(scaled_, 0);
    SetConverter("exit 1");
    EXPECT_EQ(scale(), "none");
    EXPECT_TRUE(Logged("Failed to convert file \\[" + source_.string() + ".*\\] to \\[" +
                       scaled_.string() + "\\]$"));
    close(picture);
}

TEST_F(ScaledCoverTest, TellsWhyTheCopyHasNoFolder) {
    Put(source_);
    EXPECT_EQ(Scaled("song.mp3", source_), "none");
    EXPECT_TRUE(Logged("audiolib/misc:[0-9]+ Failed to get eaDir path of \\[" + source_.string() +
                       "\\]\\.\\[0x"));
    EXPECT_EQ(Scaled(Music() / "missing" / "song.mp3", source_), "none");
    EXPECT_TRUE(
        Logged("audiolib/misc:[0-9]+ Failed to create eaDir \\[.*/missing/@eaDir/song.mp3\\]\\."
               "\\[0x0900 .*platform/linux/eadir.cpp:[0-9]+\\]$"));
    ClearLog();
    EXPECT_EQ(VARNAudioScaleImage(nullptr, "b"), -1);
    EXPECT_EQ(VARNAudioScaleImage("a", nullptr), -1);
    VARNAudioRemoveFilesByGlob(nullptr);
    EXPECT_EQ(Log().size(), 3U);
    EXPECT_EQ(VARNAudioCheckScaleArt(nullptr, "b") + VARNAudioCheckScaleArt("b", "/none"), 0);
}

TEST_F(ScaledCoverTest, RemovesWhatAPatternMatches) {
    for (const char *name : {"a1.jpg", "a2.jpg", "b1.jpg", "a[1].jpg"}) {
        Put(Music() / name);
    }
    fs::create_directory(Music() / "a3.jpg");
    const auto left = [&](const char *name) {
        const std::string pattern = Music() / name;
        AsPackage([&] { return VARNAudioRemoveFilesByGlob(pattern.c_str()), 0; });
        return Entries(Music());  // the song is one of them
    };
    EXPECT_EQ(left("nothing*"), 6);
    EXPECT_EQ(left("a\\[1\\].jpg"), 5);
    EXPECT_TRUE(Log().empty());
    EXPECT_EQ(left("a?.jpg"), 3);
    EXPECT_TRUE(Logged("audiolib/misc:[0-9]+ Failed to unlink \\[.*/a3.jpg\\] Is a directory$"));
    EXPECT_TRUE(fs::exists(Music() / "b1.jpg"));
}

}  // namespace
