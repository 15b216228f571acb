#include "varn/keyfile.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "platform/child.h"
#include "support/fixture.h"
#include "varn/base.h"
#include "varn/packageconf.h"
#include "varn/systempath.h"

namespace {

namespace fs = std::filesystem;
using tonvale_test::EndedWell;
using tonvale_test::HoldsInChild;
using tonvale_test::StartInChild;

class KeyFile : public tonvale_test::SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        file_ = scratch() / "test.conf";
    }
    void Put(const std::string &text) const { std::ofstream(file_, std::ios::binary) << text; }
    std::string Content() const { return ReadFile(file_); }
    int Set(const std::string &key, const std::string &value) const {
        return VLIBCFileSetKeyValue(file_.c_str(), key.c_str(), value.c_str());
    }
    int Remove(const std::string &key) const {
        return VLIBCFileRemoveKey(file_.c_str(), key.c_str());
    }
    // The whole value, or nothing.
    std::optional<std::string> Get(const std::string &key) const {
        std::vector<char> out(2 << 20, 'x');
        const int length = VLIBCFileGetKeyValue(file_.c_str(), key.c_str(), out.data(),
                                                static_cast<int>(out.size()));
        EXPECT_EQ(out[static_cast<std::size_t>(std::max(length, 0))], '\0');
        return length < 0
                   ? std::nullopt
                   : std::optional(std::string(out.data(), static_cast<std::size_t>(length)));
    }
    // Nothing but the file itself may be in the folder.
    void ExpectAlone() const {
        for (const auto &entry : fs::directory_iterator(scratch())) {
            EXPECT_EQ(entry.path(), file_);
        }
    }

    fs::path file_;
};

TEST_F(KeyFile, ReadsEveryFormOfALine) {
    const struct {
        std::string text, key;
        std::optional<std::string> value;
    } cases[] = {
        {"a=b", "a", "b"},
        {"a=b\r\n", "a", "b"},
        {" a\t=  b c \n", "a", "b c"},
        {"a=\"b\"\n", "a", "b"},
        {"a = \" b \" \n", "a", " b "},
        {"a=\n", "a", ""},
        {"a=\"\"\n", "a", ""},
        {"a", "a", std::nullopt},
        {"#a=b\n", "a", std::nullopt},
        {"#a=b\n", "#a", std::nullopt},
        {"  # a=b\n", "# a", std::nullopt},
        {"=b\n", "a", std::nullopt},
        {"a=1\na=2\n", "a", "1"},
        {"10=ten\n1=one\n", "1", "one"},
        {"10=ten\n", "1", std::nullopt},
        {"A=b\n", "a", std::nullopt},
        {"a=b=c\n", "a", "b=c"},
        {"a=b\\n\"c\"\n", "a", "b\\n\"c\""},
        {R"(a="\"\\\x\n")", "a", "\"\\x\n"},
        {"a=\"b", "a", "b"},
        {"a=\"b\\", "a", "b\\"},
        {"a=\"b\" c\n", "a", "b"},
        {"\n\n\nx\na=b", "a", "b"},
        {std::string("a=b\0c\n", 6), "a", "b"},
        {"\xff\xfe\xfd\na=\xff\n", "a", "\xff"},
        {"", "a", std::nullopt},
    };
    for (const auto &test : cases) {
        Put(test.text);
        EXPECT_EQ(Get(test.key), test.value) << test.text;
    }
}

TEST_F(KeyFile, CutsAValueToTheBuffer) {
    Put("key=12345\n");
    char out[8];
    for (const auto &[size, value] : {std::pair(8, "12345"), {6, "12345"}, {5, "1234"}, {1, ""}}) {
        std::fill(std::begin(out), std::end(out), '#');
        EXPECT_EQ(VLIBCFileGetKeyValue(file_.c_str(), "key", out, size), std::strlen(value));
        EXPECT_STREQ(out, value);
    }
    EXPECT_EQ(VLIBCFileGetKeyValue(file_.c_str(), "key", out, 0), -1);
}

TEST_F(KeyFile, ForgetsAnOldBufferWhenThereIsNoValue) {
    const std::string tooLong = "/" + std::string(5000, 'x');
    const std::string folder = scratch();
    for (const char *path : {file_.c_str(), tooLong.c_str(), folder.c_str(), "/dev/full", "", "/",
                             static_cast<const char *>(nullptr)}) {
        char out[4] = "old";
        EXPECT_EQ(VLIBCFileGetKeyValue(path, "key", out, sizeof out), -1) << (path ? path : "null");
        EXPECT_STREQ(out, "");
    }
}

TEST_F(KeyFile, GivesBackEveryValueByteForByte) {
    std::string everyByte;
    for (int byte = 1; byte < 256; ++byte) {
        everyByte += static_cast<char>(byte);
    }
    const std::string large(1 << 20, '"');
    const std::string values[] = {"",         "plain", " both ends ", "\ttab\t",    "\"quoted\"",
                                  "\"",       "\\",    "end\\",       "\\n",        "two\nlines\n",
                                  "crlf\r\n", "a=b",   "#hash",       "R\xc3\xb3s", "\xff\xfe",
                                  everyByte,  large};
    for (std::size_t i = 0; i < std::size(values); ++i) {
        ASSERT_EQ(Set("key" + std::to_string(i), values[i]), 0);
    }
    for (std::size_t i = 0; i < std::size(values); ++i) {
        EXPECT_TRUE(Get("key" + std::to_string(i)) == values[i]) << values[i].substr(0, 99);
    }
}

TEST_F(KeyFile, ChangesOneLineAndKeepsTheRest) {
    const std::string before = "# c\r\n\nnoise\n 1 = \"x\" # y\n10=ten\n1=again\nend=1";
    Put(before);
    ASSERT_EQ(Set("1", "one"), 0);
    EXPECT_EQ(Content(), "# c\r\n\nnoise\n1=\"one\"\n10=ten\n1=again\nend=1");
    ASSERT_EQ(Set("new", "n"), 0);
    EXPECT_EQ(Content(), "# c\r\n\nnoise\n1=\"one\"\n10=ten\n1=again\nend=1\nnew=\"n\"\n");
    ASSERT_EQ(Remove("1"), 0);
    EXPECT_EQ(Content(), "# c\r\n\nnoise\n10=ten\nend=1\nnew=\"n\"\n");
    ExpectAlone();
}

TEST_F(KeyFile, LeavesNothingBehindTheLastKey) {
    EXPECT_EQ(Remove("a"), 0);
    EXPECT_FALSE(fs::exists(file_)) << "removing from a missing file must not create it";
    ASSERT_EQ(Set("a", "1"), 0);
    EXPECT_EQ(Remove("b"), 0);
    EXPECT_EQ(Remove("a"), 0);
    EXPECT_EQ(fs::file_size(file_), 0);
    ExpectAlone();
}

TEST_F(KeyFile, RefusesKeysThatALineCannotHold) {
    Put("a=b\n");
    for (const char *key : {"", "#a", "a=b", "a\nb", "a\rb", " a", "a ", "\ta", "=", "\n"}) {
        EXPECT_EQ(Set(key, "x"), -1) << key;
        EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_BAD_PARAMETER);
        EXPECT_EQ(Remove(key), -1) << key;
    }
    EXPECT_EQ(VLIBCFileSetKeyValue("", "a", "x"), -1);
    EXPECT_EQ(Content(), "a=b\n");
}

TEST_F(KeyFile, KeepsModeAndOwner) {
    const mode_t before = umask(077);
    ASSERT_EQ(Set("a", "1"), 0);
    umask(before);
    struct stat status;
    ASSERT_EQ(stat(file_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0644);
    ASSERT_EQ(chmod(file_.c_str(), 0640), 0);
    if (IsRoot()) {
        ASSERT_EQ(chown(file_.c_str(), kAlice, 100), 0);
    }
    ASSERT_EQ(Set("a", "2"), 0);
    struct stat after;
    ASSERT_EQ(stat(file_.c_str(), &after), 0);
    EXPECT_EQ(after.st_mode & 07777, 0640);
    EXPECT_EQ(after.st_uid, IsRoot() ? kAlice : getuid());
    EXPECT_NE(after.st_ino, status.st_ino) << "a reader of the old file would see it change";
}

TEST_F(KeyFile, WritesBehindSymbolicLinks) {
    fs::create_directory(scratch() / "real");
    fs::create_symlink("real/middle.conf", file_);
    fs::create_symlink("there.conf", scratch() / "real/middle.conf");
    ASSERT_EQ(Set("a", "1"), 0) << "a link whose target is still to come";
    ASSERT_EQ(Set("a", "2"), 0);
    EXPECT_TRUE(fs::is_symlink(file_));
    EXPECT_EQ(ReadFile(scratch() / "real/there.conf"), "a=\"2\"\n");
    fs::remove(file_);
    fs::create_symlink("test.conf", file_);
    EXPECT_EQ(Set("a", "1"), -1) << "a link to itself";
}

TEST_F(KeyFile, RefusesWhatIsNoRegularFile) {
    ASSERT_EQ(mkfifo(file_.c_str(), 0666), 0);
    EXPECT_EQ(Set("a", "1"), -1);
    EXPECT_EQ(Get("a"), std::nullopt) << "and does not wait for a writer";
    EXPECT_TRUE(fs::is_fifo(file_));
    ExpectAlone();
    EXPECT_EQ(VLIBCFileSetKeyValue("/dev/full", "a", "1"), -1);
    EXPECT_EQ(VLIBCFileSetKeyValue(scratch().c_str(), "a", "1"), -1);
    EXPECT_EQ(VLIBCFileSetKeyValue((scratch() / "none/x.conf").c_str(), "a", "1"), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_SYSTEM);
}

TEST_F(KeyFile, IsUntouchedWhenTheDiskIsFull) {
    Put("a=1\n");
    EXPECT_TRUE(HoldsInChild([&] {
        // A file may grow to 64 bytes and no further: the write stops half way.
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {64, 64};
        setrlimit(RLIMIT_FSIZE, &limit);
        EXPECT_EQ(Set("b", std::string(100, 'x')), -1);
        EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_SYSTEM);
        file_ += "2";
        EXPECT_EQ(Set("b", std::string(100, 'x')), -1);
    }));
    EXPECT_EQ(Content(), "a=1\n");
    ExpectAlone();
}

TEST_F(KeyFile, IsUntouchedByWhoMayNotWrite) {
    Put("a=1\n");
    fs::permissions(file_, fs::perms(0644));
    fs::permissions(scratch(), fs::perms(0755));
    EXPECT_TRUE(HoldsInChild([&] {
        if (IsRoot()) {
            ASSERT_EQ(setresuid(65534, 65534, 65534), 0);
        } else {
            fs::permissions(file_, fs::perms(0444));
        }
        EXPECT_EQ(Set("a", "2"), -1);
        EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_PERMISSION);
    }));
    EXPECT_EQ(Content(), "a=1\n");
    ExpectAlone();
}

// ---- in a folder that others write to -----------------------------------------------------------

class SharedKeyFile : public KeyFile {
  protected:
    void SetUp() override {
        KeyFile::SetUp();
        folder_ = open(scratch().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    }
    void TearDown() override {
        close(folder_);
        KeyFile::TearDown();
    }
    int SetAt(const char *key, const char *value, const char *name = "test.conf") const {
        return VLIBCFileSetKeyValueAt(folder_, name, key, value, patience_);
    }
    int RemoveAt(const char *key, const char *name = "test.conf") const {
        return VLIBCFileRemoveKeyAt(folder_, name, key, patience_);
    }

    int folder_ = -1;
    int patience_ = 2000;
};

TEST_F(SharedKeyFile, GoesWithItsLastKey) {
    EXPECT_EQ(RemoveAt("a"), 0) << "nothing is made";
    EXPECT_FALSE(fs::exists(file_));
    ASSERT_EQ(SetAt("a", "1"), 0);
    ASSERT_EQ(SetAt("b", "2"), 0);
    // The folder is the one that was opened, whatever is at its path by now.
    const fs::path moved = scratch().string() + "-moved";
    fs::rename(scratch(), moved);
    fs::create_directory(scratch());
    ASSERT_EQ(RemoveAt("a"), 0);
    EXPECT_EQ(ReadFile(moved / "test.conf"), "b=\"2\"\n");
    ASSERT_EQ(RemoveAt("b"), 0);
    EXPECT_TRUE(fs::is_empty(moved));
    EXPECT_TRUE(fs::is_empty(scratch()));
    fs::remove(scratch());
    fs::rename(moved, scratch());
    Put("");
    EXPECT_EQ(RemoveAt("b"), 0);
    EXPECT_FALSE(fs::exists(file_)) << "an empty one, too";
    Put("# mine\na=1\n");
    EXPECT_EQ(RemoveAt("a"), 0);
    EXPECT_EQ(Content(), "# mine\n");
}

TEST_F(SharedKeyFile, OnlyPlainFilesAreEdited) {
    const fs::path victim = scratch() / "victim";
    std::ofstream(victim) << "a=1\n";
    fs::create_symlink(victim, scratch() / "link");
    fs::create_symlink("nowhere", scratch() / "dangling");
    fs::create_directory(scratch() / "folder");
    ASSERT_EQ(mkfifo((scratch() / "fifo").c_str(), 0666), 0);
    for (const char *name : {"link", "dangling", "folder", "fifo", "folder/x", "../x", "..", ""}) {
        EXPECT_EQ(SetAt("a", "2", name), -1) << name;
        EXPECT_EQ(RemoveAt("a", name), -1) << name;
    }
    EXPECT_EQ(ReadFile(victim), "a=1\n");
    EXPECT_FALSE(fs::exists(scratch() / "nowhere"));
    EXPECT_TRUE(fs::is_empty(scratch() / "folder"));

    ASSERT_EQ(chmod(victim.c_str(), 06755), 0);
    ASSERT_EQ(SetAt("a", "2", "victim"), 0);
    EXPECT_EQ(fs::status(victim).permissions(), fs::perms(0755)) << "no program of root's";
    fs::create_directory(scratch() / ".victim.tmp");
    EXPECT_EQ(SetAt("a", "3", "victim"), 0) << "whatever has the name of a temporary file";
    EXPECT_EQ(SetAt("a", "3", std::string(255, 'x').c_str()), 0) << errno;
}

// Whoever may read the file can keep it locked.
TEST_F(SharedKeyFile, NobodyHoldsAnEditUpForLong) {
    for (const short kind : {short{F_RDLCK}, short{F_WRLCK}}) {
        Put("a=1\n");
        const int fd = open(file_.c_str(), kind == F_RDLCK ? O_RDONLY : O_RDWR);
        struct flock lock = {};
        lock.l_type = kind;
        ASSERT_EQ(fcntl(fd, F_OFD_SETLK, &lock), 0);
        EXPECT_TRUE(HoldsInChild([&] {
            alarm(20);
            patience_ = kind == F_RDLCK ? 2000 : 0;
            EXPECT_EQ(SetAt("a", "2"), -1);
            EXPECT_EQ(errno, ETIMEDOUT);
        }));
        EXPECT_EQ(Content(), "a=1\n");
        ExpectAlone();
        close(fd);
        EXPECT_EQ(SetAt("a", "2"), 0);
    }
}

TEST_F(SharedKeyFile, LosesNoKeyWhileTheFileComesAndGoes) {
    std::vector<pid_t> writers;
    for (const char *key : {"1", "2", "3"}) {
        writers.push_back(StartInChild([&] {
            for (int turn = 0; turn < 60; ++turn) {
                EXPECT_EQ(SetAt(key, "x"), 0);
                EXPECT_EQ(Get(key), "x");
                EXPECT_EQ(RemoveAt(key), 0);
                EXPECT_EQ(Get(key), std::nullopt);
            }
        }));
    }
    for (const pid_t writer : writers) {
        EXPECT_TRUE(EndedWell(writer));
    }
    EXPECT_TRUE(fs::is_empty(scratch()));
}

using PackageConf = tonvale_test::SystemTest;

TEST_F(PackageConf, ComparesWholeValuesAndFallsBackOnlyWhenAbsent) {
    WriteFile(varn::path::kPackageConf, "on=\"yes\"\nempty=\nlong=yes indeed\n");
    WriteFile(varn::path::kPackageDefaultConf, "on=no\n");
    const struct {
        const char *key, *value;
        int byDefault;
        bool expected;
    } cases[] = {
        {"on", "yes", 0, true},   {"on", "YES", 1, false},    {"long", "yes", 1, false},
        {"empty", "", 0, true},   {"empty", "yes", 1, false}, {"none", "yes", 0, false},
        {"none", "yes", 1, true}, {nullptr, "yes", 1, true},  {"on", nullptr, 0, false},
    };
    for (const auto &test : cases) {
        EXPECT_EQ(VARNAudioConfCheck(test.key, test.value, test.byDefault), test.expected)
            << (test.key != nullptr ? test.key : "null");
    }
    EXPECT_TRUE(VARNAudioDefaultConfCheck("on", "no", 0));
    EXPECT_EQ(VARNAudioConfSet("on", "no"), 0);
    EXPECT_TRUE(VARNAudioConfCheck("on", "no", 0));
    char out[8];
    EXPECT_EQ(VARNAudioConfGet("long", out, sizeof out), 7);
    EXPECT_STREQ(out, "yes ind");
    EXPECT_EQ(VARNAudioConfGet("none", out, sizeof out), -1);
    EXPECT_STREQ(out, "");
}

}  // namespace
