// The rights and limits of the programs that the library starts: the encoder and the converter.
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "platform/child.h"
#include "support/eventually.h"
#include "support/fixture.h"
#include "support/sounds.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;

// "CapEff" of CAP_DAC_READ_SEARCH alone.
constexpr char kReads[] = "0000000000000004";
constexpr char kNothing[] = "0000000000000000";
constexpr double kFourGiB = 4294967296;

class Confined : public SystemTest {
  protected:
    // Starts a program with the library's words. It waits for a reader, or for its picture.
    static FILE *Start(std::string_view place, const char *mode, std::vector<std::string> words) {
        words.insert(words.begin(), "program");
        return VLIBCPopenv(At(place).c_str(), mode, Arguments(words).Get());
    }
    static std::vector<std::string> Play(const std::string &song) {
        return {"-v", "0", "-i", song, "-f", "wav", "-"};
    }
    // Waits until the child of a process has become a program. -1 when it never does.
    static pid_t Become(pid_t parent, const char *program) {
        const std::string self = std::to_string(parent);
        pid_t child = -1;
        return Eventually([&] {
            child = std::atoi(ReadFile("/proc/" + self + "/task/" + self + "/children").c_str());
            std::error_code gone;
            return child > 0 && fs::read_symlink("/proc/" + std::to_string(child) + "/exe", gone) ==
                                    fs::canonical(program, gone);
        })
                   ? child
                   : -1;
    }
    // The soft limit of a name of proc(5); -1 for none.
    static double LimitOf(pid_t pid, const std::string &name) {
        const std::string limits = ReadFile("/proc/" + std::to_string(pid) + "/limits");
        const std::size_t line = limits.find(name);
        double limit = -1;
        EXPECT_NE(line, limits.npos) << name;
        std::istringstream(limits.substr(line + name.size())) >> limit;
        return limit;
    }
    static fs::path MakeSong(const char *name, mode_t mode) {
        const fs::path song = MakeSound(scratch() / name, "anoisesrc=duration=30");
        fs::permissions(song, fs::perms(mode));
        return song;
    }
};

TEST_F(Confined, ProgramsHaveThePackagesRightsAndLimits) {
    const fs::path open = MakeSong("open.flac", 0644);
    const fs::path locked = MakeSong("locked.flac", 0600);
    chmod(scratch().c_str(), 0755);
    const uid_t package = GetUserIdFromName(varn::kPackageAccount);
    setenv("HTTP_AUTHORIZATION", "Basic b3duZXI6c2VjcmV0", 1);
    const std::string uid = std::to_string(IsRoot() ? package : geteuid());
    struct Case {
        std::string_view place;
        const char *program, *mode;
        std::vector<std::string> words;
        const char *capability;
        double fileSize;
    };
    for (const auto &[place, program, mode, words, capability, fileSize] :
         {Case{varn::path::kEncoder, "/usr/bin/ffmpeg", "r", Play(open), kNothing, 0},
          Case{varn::path::kEncoder, "/usr/bin/ffmpeg", "r", Play(locked), kReads, 0},
          Case{varn::path::kConvert,
               "/usr/bin/convert",
               "w",
               {"png:-", "/dev/null"},
               kNothing,
               kFourGiB}}) {
        FILE *const stream = Start(place, mode, words);
        ASSERT_NE(stream, nullptr);
        const pid_t pid = Become(getpid(), program);
        ASSERT_GT(pid, 0) << program;
        EXPECT_EQ(StatusOf(pid, "Uid"), uid + "\t" + uid + "\t" + uid + "\t" + uid);
        for (const char *set : {"CapEff", "CapPrm", "CapInh", "CapAmb"}) {
            EXPECT_EQ(StatusOf(pid, set), IsRoot() ? capability : kNothing) << set << program;
        }
        if (IsRoot()) {
            EXPECT_NE(StatusOf(pid, "Gid").substr(0, 2), "0\t") << program;
            EXPECT_EQ((" " + StatusOf(pid, "Groups")).find(" 0 "), std::string::npos) << program;
        }
        EXPECT_EQ(ReadFile("/proc/" + std::to_string(pid) + "/environ").find("Basic "),
                  std::string::npos);
        EXPECT_EQ(StatusOf(pid, "NoNewPrivs"), "1");
        EXPECT_EQ(LimitOf(pid, "Max address space"), kFourGiB);
        EXPECT_EQ(LimitOf(pid, "Max file size"), fileSize);
        EXPECT_EQ(LimitOf(pid, "Max open files"), 256);
        EXPECT_GT(LimitOf(pid, "Max cpu time"), 0);
        VLIBCPclose(stream);
    }
    unsetenv("HTTP_AUTHORIZATION");
}

// The kernel forgets the signal for that when rights are given up.
TEST_F(Confined, ProgramsStillEndWithTheirParent) {
    const std::string song = MakeSong("song.flac", 0644);
    const pid_t parent = StartInChild([&] {
        Start(varn::path::kEncoder, "r", Play(song));
        pause();
    });
    const pid_t encoder = Become(parent, "/usr/bin/ffmpeg");
    ASSERT_GT(encoder, 0);
    EXPECT_EQ(kill(parent, SIGKILL), 0);
    EXPECT_FALSE(EndedWell(parent));
    EXPECT_TRUE(Eventually([&] { return !StatusOf(encoder, "State").starts_with("S"); }))
        << "neither gone nor a zombie";
}

}  // namespace
