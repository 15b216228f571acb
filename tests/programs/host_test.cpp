#include "varn/host.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

#include "programs/command.h"
#include "support/fixture.h"
#include "tonvale/paths.h"
#include "varn/account.h"
#include "varn/keyfile.h"
#include "varn/process.h"
#include "varn/share.h"
#include "varn/systempath.h"

namespace tonvale_test {

namespace {

namespace host = varn::host;

class RootTest : public SystemTest {
  protected:
    static std::string ShareOf(const fs::path &path) {
        char name[256];
        char share[4096];
        VARNShareNamePathGet(path.c_str(), name, sizeof name, share, sizeof share);
        return path == share ? name : "";
    }
};

TEST_F(RootTest, PreparingAgainKeepsEditedFiles) {
    const std::string_view files[] = {varn::path::kGroup,       varn::path::kVersion,
                                      varn::path::kPackageConf, varn::path::kPackageDefaultConf,
                                      varn::path::kUsersFile,   varn::path::kIndexFolders};
    const std::string passwd = ReadFile(At(varn::path::kPasswd)) + "# by hand\n";
    WriteFile(varn::path::kPasswd, passwd);
    for (const std::string_view file : files) {
        WriteFile(file, "buildnumber=\"7\"\n");
    }
    for (const std::string_view link : {varn::path::kHomes, varn::path::kConvert}) {
        fs::remove(At(link));
        fs::create_symlink("/elsewhere", At(link));
    }
    ASSERT_TRUE(host::PrepareRoot(TONVALE_PROGRAM_DIR));
    EXPECT_EQ(ReadFile(At(varn::path::kPasswd)), passwd);
    for (const std::string_view file : files) {
        EXPECT_EQ(ReadFile(At(file)), "buildnumber=\"7\"\n") << file;
    }
    for (const std::string_view link : {varn::path::kHomes, varn::path::kConvert}) {
        EXPECT_EQ(fs::read_symlink(At(link)), "/elsewhere");
    }
}

TEST_F(RootTest, PreparingCompletesWhatIsMissingOrBelongsToTheWrongAccount) {
    fs::remove_all(At(varn::path::kPreferences));
    fs::remove_all(At("/etc.defaults"));
    fs::remove(At(varn::path::kHomes));
    fs::remove(At(varn::path::kIndexer));
    fs::create_symlink("/nowhere/varnindex", At(varn::path::kIndexer));
    fs::remove(At(varn::path::kConvert));
    fs::create_symlink("/usr/bin/convert", At(varn::path::kConvert));  // as it was once
    if (IsRoot()) {
        ASSERT_EQ(chown(At(varn::path::kDatabaseSocketDir).c_str(), 0, 0), 0);
    }
    const mode_t mask = umask(0077);
    const host::Outcome done = host::PrepareRoot(TONVALE_PROGRAM_DIR);
    umask(mask);
    ASSERT_TRUE(done) << done.Message();

    EXPECT_TRUE(Contains(ReadFile(At(varn::path::kVersion)), "buildnumber="));
    EXPECT_TRUE(IsPersonalLibEnabled("admin"));
    EXPECT_TRUE(IsPersonalLibraryPath((root() / "volume1/homes/admin/music/a.mp3").c_str()));
    EXPECT_EQ(ShareOf(root() / "volume1/homes"), "homes");
    EXPECT_EQ(fs::read_symlink(At(varn::path::kIndexer)), TONVALE_PROGRAM_DIR "/varnindex");
    EXPECT_EQ(fs::read_symlink(At(varn::path::kConvert)), TONVALE_PROGRAM_DIR "/tonvale-converter");
    for (const std::string_view folder : {varn::path::kPreferences, varn::path::kDatabaseSocketDir,
                                          std::string_view("/var/log/Tonvale")}) {
        struct stat info {};
        ASSERT_EQ(stat(At(folder).c_str(), &info), 0) << folder;
        EXPECT_EQ(info.st_uid, GetUserIdFromName("Tonvale")) << folder;
        EXPECT_EQ(info.st_mode & 0777, 0755u) << folder;
    }
}

TEST_F(RootTest, RefusesAccountsThatItCannotRunAs) {
    WriteFile(varn::path::kPasswd, "root:x:0:0::/root:/bin/sh\n");
    const host::Outcome done = host::PrepareRoot(TONVALE_PROGRAM_DIR);
    ASSERT_FALSE(done);
    EXPECT_TRUE(Contains(done.Message(), "no account Tonvale")) << done.Message();
}

TEST_F(RootTest, NamesSharesAfterTheirFolders) {
    const std::pair<const char *, const char *> kCases[] = {
        {"one/Music", "Music"}, {"two/Music", "Music-2"}, {"home", "home-2"},
        {"homes", "homes-2"},   {"a=b", "a_b"},           {"say \"hi\"", "say _hi_"},
        {"Größe", "Größe"}};
    std::vector<std::string> folders;
    for (const auto &[folder, share] : kCases) {
        fs::create_directories(scratch() / folder);
        folders.push_back(scratch() / folder);
    }
    const host::Outcome done = host::AddMusicFolders(folders);
    ASSERT_TRUE(done) << done.Message();
    for (const auto &[folder, share] : kCases) {
        EXPECT_EQ(ShareOf(scratch() / folder), share);
    }
    EXPECT_EQ(host::IndexedFolders(), folders);
}

TEST_F(RootTest, AddsAFolderOnce) {
    const fs::path music = scratch() / "music";
    fs::create_directories(music / "below");
    fs::create_directory_symlink(music, scratch() / "alias");
    WriteFile(varn::path::kIndexFolders, "# mine\n\n/somewhere/else/");  // no line break at its end
    ASSERT_TRUE(host::AddMusicFolders({music, music.string() + "/", scratch() / "alias"}));
    ASSERT_TRUE(host::AddMusicFolders({music / "below/.."}));
    EXPECT_EQ(host::IndexedFolders(), (std::vector<std::string>{"/somewhere/else", music}));
    EXPECT_EQ(ReadFile(At(varn::path::kIndexFolders)).find("# mine\n"), 0u);
    EXPECT_EQ(ShareOf(music), "music");
}

TEST_F(RootTest, FoldersThatAreAddedAtOnceAreAllKept) {
    const std::string other = scratch() / "other";
    std::vector<std::unique_ptr<Command>> commands;
    for (int number = 0; number < 6; ++number) {
        const fs::path folder = scratch() / std::to_string(number) / "Same";
        fs::create_directories(folder);
        commands.push_back(std::make_unique<Command>(std::vector<std::string>{
            "init", "--root", other, "--database", "external", "--music", folder}));
    }
    for (const auto &command : commands) {
        command->Wait();  // fails: there is no server
    }
    for (const std::string_view fixed : {varn::path::kIndexFolders, varn::path::kShares}) {
        std::istringstream lines(ReadFile(other + std::string(fixed)));
        int entries = 0;
        for (std::string line; std::getline(lines, line);) {
            entries += Contains(line, "/Same") ? 1 : 0;
        }
        EXPECT_EQ(entries, 6) << fixed;
    }
}

TEST_F(RootTest, OneBadFolderRegistersNone) {
    fs::create_directory(scratch() / "good");
    std::ofstream(scratch() / "file") << "no folder";
    fs::create_directory(scratch() / "line\nbreak");
    const std::vector<std::string> bad = {scratch() / "missing", scratch() / "file",
                                          scratch() / "line\nbreak", "/"};
    for (const std::string &folder : bad) {
        const host::Outcome done = host::AddMusicFolders({scratch() / "good", folder});
        ASSERT_FALSE(done) << folder;
        EXPECT_TRUE(Contains(done.Message(), folder)) << done.Message();
    }
    // A failure after the shares were written takes them back.
    fs::create_directory(At(varn::path::kIndexFolders));
    EXPECT_FALSE(host::AddMusicFolders({scratch() / "good"}));
    EXPECT_EQ(ShareOf(scratch() / "good"), "");
    fs::remove(At(varn::path::kIndexFolders));
    EXPECT_TRUE(host::IndexedFolders().empty());
}

// Each root in a process of its own, because a process reads its root once.
TEST_F(RootTest, SaysWhatIsWrongWithARoot) {
    std::ofstream(scratch() / "file") << "in the way";
    fs::create_directory(scratch() / "closed");
    fs::permissions(scratch() / "closed", fs::perms::owner_read | fs::perms::owner_exec);
    const std::pair<fs::path, const char *> kCases[] = {
        {scratch() / "file", "is a file, not a folder"},
        {scratch() / "file/below", "Not a directory"},
        {scratch() / std::string(90, 'x'), "the root's path may be 77 bytes long"},
        {scratch() / "with,comma", "may hold no control characters"},
        {scratch() / "closed/root", IsRoot() ? "choose a root elsewhere" : "Permission denied"},
    };
    for (const auto &[path, message] : kCases) {
        ExpectSayings({{{"init", "--root", path}, 1, message}});
        EXPECT_FALSE(fs::is_directory(path)) << path;
    }
    fs::permissions(scratch() / "closed", fs::perms::owner_all);
}

void TwiceAtOnce(const std::vector<std::string> &arguments) {
    Command one(arguments);
    Command two(arguments);
    for (Command *command : {&one, &two}) {
        const Finished done = command->Wait();
        EXPECT_EQ(done.status, 0) << done.err;
    }
}

class ClusterTest : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        // As long as a root may be: the socket's path must still fit.
        own_ = scratch().string() + "/";
        own_.resize(77, 'r');
    }
    void TearDown() override {
        Tonvale({"stop", "--root", own_});
        SystemTest::TearDown();
    }
    fs::path Data() const { return own_ + std::string(varn::path::kClusterData); }

    // Ends the server as a crash of the machine does. The number in its files is that of another
    // process by now.
    void Crash(pid_t pid) {
        const std::string before = ReadFile(Data() / "postmaster.pid");
        const pid_t server = std::stoi(before);
        ASSERT_EQ(kill(server, SIGKILL), 0);
        const std::string after = std::to_string(pid) + before.substr(before.find('\n'));
        std::ofstream(Data() / "postmaster.pid") << after;
        const std::string lock = own_ + std::string(varn::path::kDatabaseSocket) + ".lock";
        std::ofstream(lock) << after;
    }

    std::string own_;
};

TEST_F(ClusterTest, IsCreatedOnceAndComesUpAgain) {
    // Two creations at once find what an interrupted one left.
    ASSERT_EQ(Tonvale({"init", "--root", own_, "--music", "/nonexistent"}).status, 1);
    fs::create_directory(Data().string() + ".new");
    std::ofstream(Data().string() + ".new/PG_VERSION") << "15\n";
    TwiceAtOnce({"init", "--root", own_});
    EXPECT_FALSE(fs::exists(Data().string() + ".new"));

    // The server crashed, and its number is that of another root's server by now.
    const std::string other = scratch().string() + "/other";
    ASSERT_EQ(Tonvale({"init", "--root", other}).status, 0);
    const pid_t others = std::stoi(ReadFile(other + "/var/lib/Tonvale/postgresql/postmaster.pid"));
    Crash(others);
    EXPECT_EQ(Tonvale({"stop", "--root", own_}).status, 0);
    EXPECT_EQ(kill(others, 0), 0) << "the other root's server was stopped";
    EXPECT_EQ(Tonvale({"songs", "--root", own_}).out, "0 of 0 tracks\n");
    EXPECT_EQ(Tonvale({"stop", "--root", other}).status, 0);

    // A server that cannot start tells why in the message.
    ASSERT_EQ(Tonvale({"stop", "--root", own_}).status, 0);
    EXPECT_EQ(Tonvale({"stop", "--root", own_}).status, 0);
    std::ofstream(Data() / "postgresql.conf", std::ios::app) << "nonsense = 1\n";
    ExpectSayings({{{"start", "--root", own_}, 1, "\"nonsense\""}});
}

class SchemaTest : public DatabaseTest {
  protected:
    static constexpr char kEmpty[] = "DROP SCHEMA public CASCADE; CREATE SCHEMA public";

    static void ExpectProblem(const host::Outcome &done, const std::string &part) {
        EXPECT_FALSE(done);
        EXPECT_TRUE(Contains(done.Message(), part)) << done.Message();
    }

    static void AsAdministrator(const char *sql) {
        const varn::Connection conn(VARNDBConnect(At(varn::path::kDatabaseSocketDir).c_str(),
                                                  "varnadmin", nullptr, "postgres"));
        ASSERT_TRUE(conn) << VARNDBErrorGet(nullptr);
        ASSERT_GE(VARNDBExecute(conn.get(), sql, nullptr), 0) << VARNDBErrorGet(conn.get());
    }
};

TEST_F(SchemaTest, TwoMigrationsFromNothingMakeOneSchema) {
    Query(kEmpty);
    ExpectProblem(host::CheckSchema(), "run 'tonvale init --root " + root().string() + "'");
    TwiceAtOnce({"init"});
    EXPECT_TRUE(host::CheckSchema());
    EXPECT_EQ(Value("SELECT string_agg(version::text, ',' ORDER BY version) FROM schema_version"),
              Value("SELECT string_agg(n::text, ',' ORDER BY n) FROM "
                    "generate_series(1, (SELECT max(version) FROM schema_version)) n"));
    // A schema of this version is left alone, rows and all.
    Query("INSERT INTO track (path, title) VALUES ('/music/a.mp3', 'kept')");
    EXPECT_TRUE(host::MigrateSchema());
    EXPECT_EQ(Value("SELECT title FROM track"), "kept");
    EXPECT_EQ(geteuid(), getuid());
}

TEST_F(SchemaTest, ARootWithoutItsClusterUsesNoOtherServer) {
    const std::string other = scratch() / "other";
    ASSERT_EQ(Tonvale({"init", "--root", other, "--music", "/nonexistent"}).status, 1);
    ASSERT_FALSE(fs::exists(other + std::string(varn::path::kClusterData)));
    setenv("PGHOST", At(varn::path::kDatabaseSocketDir).c_str(), 1);
    for (const char *verb : {"songs", "index"}) {
        ExpectSayings({{{verb, "--root", other}, 1, "run 'tonvale init --root " + other + "'"}});
    }
    setenv("PGHOST", "/nonexistent", 1);
}

TEST_F(SchemaTest, AnExternalServerStaysChosen) {
    const std::string other = scratch() / "other";
    // The choice stays even when the server does not answer.
    EXPECT_EQ(Tonvale({"init", "--root", other, "--database", "external"}).status, 1);
    setenv("PGHOST", At(varn::path::kDatabaseSocketDir).c_str(), 1);
    EXPECT_EQ(Tonvale({"init", "--root", other}).status, 0);
    ExpectSayings({{{"songs", "--root", other}, 0, "0 of 0 tracks\n"}});
    EXPECT_FALSE(fs::exists(other + std::string(varn::path::kClusterData)));
    setenv("PGHOST", "/nonexistent", 1);
    ExpectSayings({{{"songs", "--root", other}, 1, "/nonexistent"}});
}

TEST_F(SchemaTest, AStepThatFailsLeavesNothing) {
    Query(kEmpty);
    Query("CREATE TABLE playlist (mine integer)");
    ExpectProblem(host::MigrateSchema(), "already exists");
    EXPECT_EQ(Value("SELECT to_regclass('track')"), "");
    EXPECT_EQ(Value("SELECT COUNT(*) FROM schema_version"), "0");
    // The step itself works now, but its version cannot be written.
    Query("DROP TABLE playlist; ALTER TABLE schema_version ADD CONSTRAINT never CHECK (false)");
    ExpectProblem(host::MigrateSchema(), "never");
    EXPECT_EQ(Value("SELECT to_regclass('track')"), "");
    Query("ALTER TABLE schema_version DROP CONSTRAINT never");
    EXPECT_TRUE(host::MigrateSchema());
    EXPECT_TRUE(host::CheckSchema());
}

TEST_F(SchemaTest, RefusesALaterVersion) {
    Query("INSERT INTO schema_version (version) VALUES (1000)");
    ExpectProblem(host::CheckSchema(), "made by a later version");
    ExpectProblem(host::MigrateSchema(), "made by a later version");
    ExpectSayings({{{"songs"}, 1, "schema 1000"}});
}

TEST_F(SchemaTest, SaysWhatToDoAboutAServerThatIsDownOrRefuses) {
    AsAdministrator("ALTER ROLE \"Tonvale\" NOLOGIN");
    ExpectProblem(host::CheckSchema(), "not permitted to log in");
    AsAdministrator("ALTER ROLE \"Tonvale\" LOGIN");

    ASSERT_TRUE(host::StopCluster());
    ExpectProblem(host::CheckSchema(), "'tonvale start --root " + root().string() + "'");
    ExpectProblem(host::MigrateSchema(), "'tonvale start");
    bool started = false;
    ASSERT_TRUE(host::StartCluster(&started));
    EXPECT_TRUE(started);
    EXPECT_TRUE(host::CheckSchema());
    ASSERT_TRUE(host::StartCluster(&started));
    EXPECT_FALSE(started);
}

}  // namespace

}  // namespace tonvale_test
