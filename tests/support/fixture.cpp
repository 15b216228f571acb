#include "support/fixture.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>

#include "support/environment.h"
#include "support/eventually.h"
#include "support/spawn.h"
#include "varn/host.h"
#include "varn/process.h"
#include "varn/sql.h"
#include "varn/systempath.h"

namespace tonvale_test {

namespace {

constexpr char kAdmin[] = "varnadmin";
constexpr char kRole[] = "Tonvale";
constexpr char kTemplate[] = "tonvale_template";

varn::Connection Connect(const char *role, const char *database) {
    const std::string directory = SystemPath(varn::path::kDatabaseSocketDir);
    varn::Connection conn(VARNDBConnect(directory.c_str(), role, nullptr, database));
    EXPECT_TRUE(conn) << VARNDBErrorGet(nullptr);
    return conn;
}

std::vector<std::vector<std::string>> RunSql(DBConnect_tag *conn, const std::string &sql) {
    std::vector<std::vector<std::string>> rows;
    VARNDB_RESULT *result = nullptr;
    EXPECT_GE(VARNDBExecute(conn, sql.c_str(), &result), 0) << sql << "\n" << VARNDBErrorGet(conn);
    const varn::Result owner(result);
    for (int row = 0; VARNDBFetchRow(result, &row) == 0;) {
        rows.emplace_back();
        for (int column = 0;; ++column) {
            const char *field = VARNDBFetchFieldAt(result, row, column);
            if (field == nullptr) {
                break;
            }
            rows.back().emplace_back(field);
        }
    }
    return rows;
}

varn::Connection ownConnection;  // for a test's statements
pid_t ownerOfConnection = 0;

// Makes the connection when there is none that works. A child makes its own.
DBConnect_tag *OwnConnection() {
    if (ownerOfConnection != getpid()) {
        static_cast<void>(ownConnection.release());  // the parent's, and open there
        ownerOfConnection = getpid();
    }
    if (!ownConnection || VARNDBExecute(ownConnection.get(), "SELECT 1", nullptr) != 1) {
        ownConnection = Connect(kRole, "mediaserver");
    }
    return ownConnection.get();
}

// The first database of this process becomes the template of all that follow.
void MakeTemplate() {
    static bool made = false;
    if (made) {
        return;
    }
    namespace host = varn::host;
    for (const host::Outcome &outcome : {host::CreateCluster(host::Durability::kNone),
                                         host::StartCluster(nullptr), host::MigrateSchema()}) {
        ASSERT_TRUE(outcome) << outcome.Message();
    }
    const varn::Connection admin = Connect(kAdmin, "postgres");
    RunSql(admin.get(), std::string("ALTER DATABASE mediaserver RENAME TO ") + kTemplate);
    made = true;
}

// CREATE DATABASE copies a template's contents without its settings.
void CopySettings(DBConnect_tag *admin) {
    const auto settings = RunSql(
        admin, std::string("SELECT unnest(setconfig) FROM pg_db_role_setting JOIN pg_database "
                           "ON pg_database.oid = setdatabase WHERE datname = '") +
                   kTemplate + "'");
    ASSERT_FALSE(settings.empty());
    for (const auto &row : settings) {
        RunSql(admin, "ALTER DATABASE mediaserver SET " + row.front());
    }
}

std::vector<std::string> OpenDescriptors() {
    std::vector<std::string> open;
    for (const auto &entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code gone;  // the iterator's own descriptor
        const fs::path target = fs::read_symlink(entry.path(), gone);
        if (!gone && target.string().find("/fd") == std::string::npos) {
            open.push_back(entry.path().filename().string() + " " + target.string());
        }
    }
    std::sort(open.begin(), open.end());
    return open;
}

void RemoveAllBut(const fs::path &folder, const std::vector<std::string> &kept) {
    for (const auto &entry : fs::directory_iterator(folder)) {
        if (std::find(kept.begin(), kept.end(), entry.path().filename()) == kept.end()) {
            fs::remove_all(entry.path());
        }
    }
}

// Everything but the cluster, which all tests of a process share.
void EmptyRoot(const fs::path &root) {
    for (const char *kept : {"var/lib", "var/run", "var/log"}) {
        fs::create_directories(root / kept / "Tonvale");
        RemoveAllBut(root / kept, {"Tonvale"});
    }
    RemoveAllBut(root / "var", {"lib", "run", "log"});
    RemoveAllBut(root, {"var"});
}

void GiveToOwnerOfFolder(const fs::path &file) {
    struct stat folder {};
    ASSERT_EQ(stat(file.parent_path().c_str(), &folder), 0);
    ASSERT_EQ(chown(file.c_str(), folder.st_uid, folder.st_gid), 0);
}

void AddUser(const fs::path &root, const std::string &name, unsigned uid) {
    const fs::path home = root / "volume1/homes" / name;
    fs::create_directories(home / "music");
    std::ofstream(root / "etc/passwd", std::ios::app)
        << name << ":x:" << uid << ":100::" << home.string() << ":/bin/false\n";
}

}  // namespace

std::vector<std::string> Words(const std::string &text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

std::string LogTexts(const std::vector<std::string> &log) {
    static const std::regex head("^tonvale-test: (\\S+?)(:| \\(|\\()[0-9]+");
    std::string texts;
    for (const std::string &line : log) {
        texts += std::regex_replace(line, head, "$1$2#") + "\n";
    }
    return texts;
}

Captured::Captured(int number)
    : number_(number),
      memory_(memfd_create("captured", MFD_CLOEXEC)),
      saved_(fcntl(number, F_DUPFD_CLOEXEC, 3)) {
    std::fflush(stdout);
    dup2(memory_, number_);
}

Captured::~Captured() {
    std::fflush(stdout);
    dup2(saved_, number_);
    close(saved_);
    close(memory_);
}

std::string Captured::Text() const {
    std::fflush(stdout);
    return TextOf(memory_);
}

const fs::path &SystemTest::root() {
    static const fs::path path = Environment::Folder() / "root";
    return path;
}

const fs::path &SystemTest::scratch() {
    static const fs::path path = Environment::Folder() / "scratch";
    return path;
}

fs::path SystemTest::At(std::string_view fixedPath) {
    return SystemPath(fixedPath);
}

void SystemTest::WriteFile(std::string_view fixedPath, std::string_view text) {
    Touch(At(fixedPath), text);
}

void SystemTest::Touch(const fs::path &path, std::string_view text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

void SystemTest::MakeAdministrator(const std::string &user) {
    std::string groups = ReadFile(At(varn::path::kGroup));
    WriteFile(varn::path::kGroup, groups.insert(groups.find(":101:admin") + 10, "," + user));
}

std::string SystemTest::ReadFile(const fs::path &path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

void SystemTest::SetUp() {
    EmptyRoot(root());
    fs::remove_all(scratch());
    fs::create_directories(scratch());
    const varn::host::Outcome prepared = varn::host::PrepareRoot(TONVALE_PROGRAM_DIR);
    ASSERT_TRUE(prepared) << prepared.Message();
    WriteFile(varn::path::kUsersFile, "{}\n");
    GiveToOwnerOfFolder(At(varn::path::kUsersFile));
    AddUser(root(), "alice", kAlice);
    AddUser(root(), "bob", kBob);
    descriptors_ = OpenDescriptors();
    stderr_ = std::make_unique<Captured>(2);
    logStart_ = 0;
}

void SystemTest::TearDown() {
    BackToRoot();
    const std::string text = stderr_ ? stderr_->Text() : "";
    stderr_.reset();
    if (HasFailure()) {
        std::cerr << text;
    }
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child was left behind";
    EXPECT_EQ(OpenDescriptors(), descriptors_) << "a descriptor was left open";
    for (const auto &entry :
         fs::recursive_directory_iterator(root(), fs::directory_options::skip_permission_denied)) {
        const std::string name = entry.path().filename().string();
        EXPECT_TRUE(name.find(".tmp") == std::string::npos &&
                    name.find(".new") == std::string::npos)
            << "a temporary file was left behind: " << entry.path();
    }
}

std::vector<std::string> SystemTest::Log() const {
    std::istringstream text(stderr_->Text().substr(logStart_));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

void SystemTest::ClearLog() {
    logStart_ = stderr_->Text().size();
}

bool SystemTest::Logged(const std::string &pattern) const {
    const std::regex expression(pattern);
    for (const std::string &line : Log()) {
        if (std::regex_search(line, expression)) {
            return true;
        }
    }
    return false;
}

bool SystemTest::IsRoot() {
    return geteuid() == 0;
}

void SystemTest::BackToRoot() {
    if (getuid() == 0 && geteuid() != 0) {
        EXPECT_EQ(ResetCredentialsByName("root", true), 0);
    }
}

void DatabaseTest::SetUp() {
    SystemTest::SetUp();
    MakeTemplate();
    if (HasFatalFailure()) {
        return;
    }
    const varn::Connection admin = Connect(kAdmin, "postgres");
    RunSql(admin.get(), "DROP DATABASE IF EXISTS mediaserver WITH (FORCE)");
    RunSql(
        admin.get(),
        std::string("CREATE DATABASE mediaserver OWNER \"Tonvale\" STRATEGY file_copy TEMPLATE ") +
            kTemplate);
    CopySettings(admin.get());
    ClearLog();
}

void DatabaseTest::TearDown() {
    {
        ownConnection.reset();
        const varn::Connection admin = Connect(kAdmin, "postgres");
        // A backend ends a moment after its client.
        EXPECT_TRUE(Eventually([&] {
            return RunSql(admin.get(), "SELECT FROM pg_stat_activity WHERE datname = 'mediaserver'")
                .empty();
        })) << "a connection was left open";
    }
    SystemTest::TearDown();
}

DatabaseTest::Rows DatabaseTest::Query(const std::string &sql) {
    DBConnect_tag *const conn = OwnConnection();
    return conn != nullptr ? RunSql(conn, sql) : Rows();
}

std::string DatabaseTest::Value(const std::string &sql) {
    const Rows rows = Query(sql);
    return rows.empty() || rows.front().empty() ? "" : rows.front().front();
}

std::string InsertSql(const TrackRow &row) {
    const auto insert = [](const char *into, const std::vector<std::string> &values) {
        std::string sql;
        for (const std::string &value : values) {
            sql += (sql.empty() ? "" : ", ") + *varn::Sql("'@VARN:VAR'", value);
        }
        return "INSERT INTO " + std::string(into) + " VALUES (" + sql + ");";
    };
    const auto flag = [](bool isSet) { return isSet ? "t" : "f"; };
    const std::string id = std::to_string(row.id);
    std::string all, sides;
    for (const std::string &genre : row.genres.empty() ? decltype(row.genres){""} : row.genres) {
        all += (all.empty() ? "" : ", ") + genre;
        sides += insert("genre_track (track, genre, genre_sort)", {id, genre, genre});
    }
    return insert(
               "track (id, userid, path, title, title_sort, year, track, is_virtual, "
               "has_virtual, agg_genre, agg_genre_sort)",
               {id, std::to_string(row.userid), row.path, row.title, row.title,
                std::to_string(row.year), std::to_string(row.track), flag(row.is_virtual),
                flag(row.has_virtual), all, all}) +
           insert("album_track (track, album, album_sort, album_artist, album_artist_sort)",
                  {id, row.album, row.album, row.album_artist, row.album_artist}) +
           insert("artist_track (track, artist, artist_sort, has_album_artist)",
                  {id, row.artist, row.artist, flag(!row.album_artist.empty())}) +
           insert("composer_track (track, composer, composer_sort)",
                  {id, row.composer, row.composer}) +
           sides;
}

}  // namespace tonvale_test
