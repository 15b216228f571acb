#include "varn/keyfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <optional>
#include <tuple>

#include "platform/child.h"
#include "support/fixture.h"
#include "varn/base.h"
#include "varn/packageconf.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;

class KeyFile : public SystemTest {
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
    using Case = std::tuple<std::string, std::string, std::optional<std::string>>;
    for (const auto &[text, key, value] : {Case{"a=b", "a", "b"},
                                           Case{"a=b\r\n", "a", "b"},
                                           Case{" a\t=  b c \n", "a", "b c"},
                                           Case{"a=\"b\"\n", "a", "b"},
                                           Case{"a = \" b \" \n", "a", " b "},
                                           Case{"a=\n", "a", ""},
                                           Case{"a=\"\"\n", "a", ""},
                                           Case{"a", "a", {}},
                                           Case{"#a=b\n", "a", {}},
                                           Case{"#a=b\n", "#a", {}},
                                           Case{"  # a=b\n", "# a", {}},
                                           Case{"=b\n", "a", {}},
                                           Case{"a=1\na=2\n", "a", "1"},
                                           Case{"10=ten\n1=one\n", "1", "one"},
                                           Case{"10=ten\n", "1", {}},
                                           Case{"A=b\n", "a", {}},
                                           Case{"a=b=c\n", "a", "b=c"},
                                           Case{"a=b\\n\"c\"\n", "a", "b\\n\"c\""},
                                           Case{R"(a="\"\\\x\n")", "a", "\"\\x\n"},
                                           Case{"a=\"b", "a", "b"},
                                           Case{"a=\"b\\", "a", "b\\"},
                                           Case{"a=\"b\" c\n", "a", "b"},
                                           Case{"\n\n\nx\na=b", "a", "b"},
                                           Case{std::string("a=b\0c\n", 6), "a", "b"},
                                           Case{"\xff\xfe\xfd\na=\xff\n", "a", "\xff"},
                                           Case{"", "a", {}}}) {
        Put(text);
        EXPECT_EQ(Get(key), value) << text;
    }
}

TEST_F(KeyFile, CutsAValueToTheBufferAndClearsItAfterAFailure) {
    Put("key=12345\n");
    char out[8] = "#######";
    const auto get = [&](const char *path, int size) {
        return VLIBCFileGetKeyValue(path, "key", out, size);
    };
    for (const auto &[size, value] : {std::pair(6, "12345"), {5, "1234"}, {1, ""}}) {
        EXPECT_EQ(get(file_.c_str(), size), std::strlen(value));
        EXPECT_STREQ(out, value);
    }
    EXPECT_EQ(get(file_.c_str(), 0), -1);
    const std::string tooLong = "/" + std::string(5000, 'x');
    for (const char *path : {"/none", tooLong.c_str(), scratch().c_str(), "/dev/full", "",
                             static_cast<const char *>(nullptr)}) {
        std::strcpy(out, "old");
        EXPECT_EQ(get(path, sizeof out), -1) << (path ? path : "null");
        EXPECT_STREQ(out, "");
    }
}

TEST_F(KeyFile, GivesBackEveryValueByteForByte) {
    std::string everyByte;
    for (int byte = 1; byte < 256; ++byte) {
        everyByte += static_cast<char>(byte);
    }
    const std::string large(1 << 20, '"');
    const std::string values[] = {"",    " both ends ", "\"quoted\"", "end\\",   "\\n",
                                  "a=b", "crlf\r\n",    "#hash",      everyByte, large};
    for (std::size_t i = 0; i < std::size(values); ++i) {
        ASSERT_EQ(Set("key" + std::to_string(i), values[i]), 0);
    }
    for (std::size_t i = 0; i < std::size(values); ++i) {
        EXPECT_TRUE(Get("key" + std::to_string(i)) == values[i]) << values[i].substr(0, 99);
    }
}

TEST_F(KeyFile, ChangesOneLineAndKeepsTheRest) {
    Put("# c\r\n\nnoise\n 1 = \"x\" # y\n10=ten\n1=again\nend=1");
    ASSERT_EQ(Set("1", "one"), 0);
    EXPECT_EQ(Content(), "# c\r\n\nnoise\n1=\"one\"\n10=ten\n1=again\nend=1");
    ASSERT_EQ(Set("new", "n"), 0);
    ASSERT_EQ(Remove("1"), 0);
    const std::string after = "# c\r\n\nnoise\n10=ten\nend=1\nnew=\"n\"\n";
    EXPECT_EQ(Content(), after);
    for (const char *key : {"", "#a", "a=b", "a\nb", "a\rb", " a", "a ", "\ta", "=", "\n"}) {
        EXPECT_EQ(Set(key, "x"), -1) << key;
        EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_BAD_PARAMETER);
        EXPECT_EQ(Remove(key), -1) << key;
    }
    EXPECT_EQ(Content(), after);
    ExpectAlone();
    fs::remove(file_);
    EXPECT_EQ(Remove("a"), 0);
    EXPECT_FALSE(fs::exists(file_)) << "removing from a missing file must not create it";
    EXPECT_EQ(Set("a", "1") + Remove("b") + Remove("a"), 0);
    EXPECT_EQ(fs::file_size(file_), 0);
}

TEST_F(KeyFile, KeepsModeAndOwner) {
    struct stat status;
    const auto mode = [&] {
        EXPECT_EQ(stat(file_.c_str(), &status), 0);
        return status.st_mode & 07777;
    };
    const mode_t before = umask(077);
    ASSERT_EQ(Set("a", "1"), 0);
    umask(before);
    EXPECT_EQ(mode(), 0644);
    const ino_t first = status.st_ino;
    ASSERT_EQ(chmod(file_.c_str(), 0640), 0);
    ASSERT_EQ(chown(file_.c_str(), IsRoot() ? kAlice : getuid(), static_cast<gid_t>(-1)), 0);
    ASSERT_EQ(Set("a", "2"), 0);
    EXPECT_EQ(mode(), 0640);
    EXPECT_EQ(status.st_uid, IsRoot() ? kAlice : getuid());
    EXPECT_NE(status.st_ino, first) << "a reader of the old file would see it change";
}

TEST_F(KeyFile, WritesThroughSymbolicLinks) {
    fs::create_directory(scratch() / "real");
    fs::create_symlink("real/middle.conf", file_);
    fs::create_symlink("there.conf", scratch() / "real/middle.conf");
    ASSERT_EQ(Set("a", "1"), 0) << "a link whose target does not exist yet";
    ASSERT_EQ(Set("a", "2"), 0);
    EXPECT_TRUE(fs::is_symlink(file_));
    EXPECT_EQ(ReadFile(scratch() / "real/there.conf"), "a=\"2\"\n");
    fs::remove(file_);
    fs::create_symlink("test.conf", file_);
    EXPECT_EQ(Set("a", "1"), -1) << "a link to itself";
}

TEST_F(KeyFile, RefusesSpecialFiles) {
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
        LimitFiles(64);  // the write stops half way
        EXPECT_EQ(Set("b", std::string(100, 'x')), -1);
        EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_SYSTEM);
        file_ += "2";
        EXPECT_EQ(Set("b", std::string(100, 'x')), -1);
    }));
    EXPECT_EQ(Content(), "a=1\n");
    ExpectAlone();
}

// In a folder that others write to.
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
    // The folder is the one that was opened, even if another one is at its path now.
    const fs::path moved = scratch().string() + "-moved";
    fs::rename(scratch(), moved);
    fs::create_directory(scratch());
    ASSERT_EQ(RemoveAt("a"), 0);
    EXPECT_EQ(ReadFile(moved / "test.conf"), "b=\"2\"\n");
    ASSERT_EQ(RemoveAt("b"), 0);
    EXPECT_TRUE(fs::is_empty(moved) && fs::is_empty(scratch()));
    fs::remove(scratch());
    fs::rename(moved, scratch());
    for (const char *rest : {"", "# mine\n"}) {
        Put(std::string(rest) + (*rest != '\0' ? "a=1\n" : ""));
        EXPECT_EQ(RemoveAt("a"), 0);
        EXPECT_EQ(Content(), rest);
        EXPECT_EQ(fs::exists(file_), *rest != '\0') << "an empty file goes";
    }
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
    EXPECT_EQ(SetAt("a", "3", "victim"), 0) << "a folder has the name of the temporary file";
    EXPECT_EQ(SetAt("a", "3", std::string(255, 'x').c_str()), 0) << errno;
}

// Every account that may read the file can lock it.
TEST_F(SharedKeyFile, ALockHoldsAnEditUpOnlyForAWhile) {
    for (const short kind : {short{F_RDLCK}, short{F_WRLCK}}) {
        Put("a=1\n");
        const int fd = open(file_.c_str(), kind == F_RDLCK ? O_RDONLY : O_RDWR);
        struct flock lock = {};
        lock.l_type = kind;
        ASSERT_EQ(fcntl(fd, F_OFD_SETLK, &lock), 0);
        EXPECT_TRUE(HoldsInChild([&] {
            alarm(90);
            patience_ = kind == F_RDLCK ? 50 : 0;
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

using PackageConf = SystemTest;

TEST_F(PackageConf, ComparesWholeValuesAndFallsBackOnlyWhenAbsent) {
    WriteFile(varn::path::kPackageConf, "on=\"yes\"\nempty=\nlong=yes indeed\n");
    WriteFile(varn::path::kPackageDefaultConf, "on=no\n");
    const std::tuple<const char *, const char *, int, bool> cases[] = {
        {"on", "yes", 0, true},   {"on", "YES", 1, false},    {"long", "yes", 1, false},
        {"empty", "", 0, true},   {"empty", "yes", 1, false}, {"none", "yes", 0, false},
        {"none", "yes", 1, true}, {nullptr, "yes", 1, true},  {"on", nullptr, 0, false}};
    for (const auto &[key, value, byDefault, expected] : cases) {
        EXPECT_EQ(VARNAudioConfCheck(key, value, byDefault), expected)
            << (key != nullptr ? key : "null");
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
