// The root's own PostgreSQL cluster.
#include <fcntl.h>
#include <pwd.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <limits>
#include <sstream>
#include <thread>

#include "linux/credentials.h"
#include "linux/host_support.h"
#include "linux/spawn.h"
#include "varn/number.h"
#include "varn/run_as.h"
#include "varn/systempath.h"

namespace varn::host {

namespace {

namespace fs = std::filesystem;
using std::chrono::steady_clock;

constexpr int kOldestVersion = 15;
constexpr char kPatienceSeconds[] = "60";  // for a start or a stop, recovery after a crash included

constexpr std::chrono::seconds kOrphansPatience{2};

// After a crash, one call for the whole file system instead of one for each of a thousand files.
constexpr char kQuickRecovery[] = "-c recovery_init_sync_method=syncfs";

constexpr char kSettingsFile[] = "tonvale.conf";

constexpr char kSettings[] =
    "# Made with the cluster. Settings of your own go to the end of postgresql.conf.\n"
    "listen_addresses = ''\n"
    "port = 5432\n"
    "unix_socket_permissions = 0770\n"
    "shared_buffers = 128MB\n"
    "max_connections = 40\n";

// A crash of the server alone loses nothing: a commit still waits until the kernel has its record.
constexpr char kNoDurability[] =
    "fsync = off\n"
    "full_page_writes = off\n";

constexpr char kRoles[] =
    "# Accounts of the machine are let in by pg_ident.conf.\n"
    "local all all peer map=tonvale\n";

constexpr char kFirstStatements[] =
    "CREATE ROLE \"Tonvale\" LOGIN;\n"
    "CREATE DATABASE mediaserver OWNER \"Tonvale\" TEMPLATE template0 ENCODING 'UTF8' "
    "LC_COLLATE 'C' LC_CTYPE 'C.UTF-8';\n";

std::string DataDir() {
    return SystemPath(path::kClusterData);
}

// ---- PostgreSQL's programs ---------------------------------------------------------------------

bool HasServerPrograms(const std::string &folder) {
    return access((folder + "/initdb").c_str(), X_OK) == 0 &&
           access((folder + "/pg_ctl").c_str(), X_OK) == 0 &&
           access((folder + "/postgres").c_str(), X_OK) == 0;
}

// The major version of the server programs in a folder outside Debian's scheme, or 0.
int VersionOfPrograms(const std::string &folder) {
    SpawnOptions options;
    options.path = folder + "/postgres";
    options.argv = {"postgres", "--version"};
    const Captured version = RunCaptured(options);  // "postgres (PostgreSQL) 15.4 ..."
    const std::size_t number = version.output.find(") ");
    return number == std::string::npos ? 0 : LeadingNumber<int>(version.output.substr(number + 2));
}

// The folder of the server programs: of exactly the major version `wanted`, or of the newest when
// that is 0. Empty when there is none.
std::string FindPrograms(int wanted) {
    const auto suits = [&](int version) {
        return wanted == 0 ? version >= kOldestVersion : version == wanted;
    };
    int best = 0;
    std::error_code error;
    for (const fs::directory_entry &entry : fs::directory_iterator("/usr/lib/postgresql", error)) {
        const int version = LeadingNumber<int>(entry.path().filename().string());
        if (suits(version) && version > best && HasServerPrograms(entry.path() / "bin")) {
            best = version;
        }
    }
    if (best != 0) {
        return "/usr/lib/postgresql/" + std::to_string(best) + "/bin";
    }
    const char *searchPath = secure_getenv("PATH");
    std::istringstream folders(searchPath != nullptr ? searchPath : "");
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (folder.starts_with('/') && HasServerPrograms(folder) &&
            suits(VersionOfPrograms(folder))) {
            return folder;
        }
    }
    return {};
}

Outcome NoPrograms(int version) {
    return Outcome::Problem("PostgreSQL " + std::to_string(version) +
                            "'s server is not installed: install the package postgresql-" +
                            std::to_string(version));
}

// Runs one of the server programs as the package's account.
Captured RunProgram(const std::string &folder, const std::string &name,
                    std::vector<std::string> arguments, int stdinFd = kDevNull) {
    SpawnOptions options;
    options.path = folder + "/" + name;
    options.argv = std::move(arguments);
    options.argv.insert(options.argv.begin(), options.path);
    if (MaySwitchUser()) {
        options.identity = IdentityOf(kPackageAccount);
    }
    options.environment = {"LC_ALL=C.UTF-8"};
    options.workingDirectory = "/";
    options.stdinFd = stdinFd;
    return RunCaptured(std::move(options));
}

// The last lines of a text, indented.
std::string LastLines(std::string_view text) {
    constexpr int kLines = 12;
    text = text.substr(0, text.find_last_not_of(" \n") + 1);
    std::size_t start = text.size();
    for (int line = 0; line < kLines && start != std::string_view::npos; ++line) {
        start = start == 0 ? std::string_view::npos : text.rfind('\n', start - 1);
    }
    text.remove_prefix(start == std::string_view::npos ? 0 : start + 1);
    std::string indented = "\n  ";
    for (const char c : text) {
        indented += c;
        if (c == '\n') {
            indented += "  ";
        }
    }
    return indented;
}

Outcome ProgramFailed(const std::string &doing, const Captured &run) {
    if (run.status < 0) {
        return Failed(doing, DataDir());
    }
    return Outcome::Problem("cannot " + doing + " " + DataDir() + ":" + LastLines(run.output));
}

// ---- the server's state ------------------------------------------------------------------------

struct Postmaster {
    pid_t pid = 0;
    bool ready = false;  // as it says itself
};

// What the server's own file says, whether the server is alive or not.
Postmaster ReadPostmaster() {
    constexpr int kStatusLine = 8;
    Postmaster server;
    std::istringstream lines(ReadTextFile(DataDir() + "/postmaster.pid").value_or(""));
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        if (number == 1) {
            server.pid = LeadingNumber<int>(line);
        } else if (number == kStatusLine) {
            server.ready = line.starts_with("ready");
        }
    }
    return server;
}

// True when the process that the server's file names is this cluster's server, which works in its
// data folder. After a crash of the machine the number may be somebody else's, another cluster's
// server included; a server that was killed may wait as a zombie, which has no folder, for a
// parent that never asks.
bool IsAlive(const Postmaster &server) {
    const RunAs account(Who::kPackage);  // root alone may not be shown another account's folder
    std::error_code error;
    return server.pid > 0 &&
           fs::equivalent("/proc/" + std::to_string(server.pid) + "/cwd", DataDir(), error);
}

bool SocketAnswers() {
    const std::string path = SystemPath(path::kDatabaseSocket);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return false;
    }
    path.copy(address.sun_path, path.size());
    const UniqueFd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    return fd &&
           connect(fd.Get(), reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

// The server refuses to start while the process of its last run's files exists, whatever it is by
// now. Such files get a number that no process can have; they are not removed, because the server
// also finds there the memory that children of the last run may still use.
Outcome DisownStaleFiles(const Postmaster &server) {
    if (server.pid <= 0 || (kill(server.pid, 0) != 0 && errno == ESRCH)) {
        return Outcome::Good();
    }
    for (const std::string &file :
         {DataDir() + "/postmaster.pid", SystemPath(path::kDatabaseSocket) + ".lock"}) {
        const std::string text = ReadTextFile(file).value_or("");
        const std::size_t end = text.find('\n');
        if (LeadingNumber<int>(text) != server.pid || end == std::string::npos) {
            continue;
        }
        const std::string number = std::to_string(std::numeric_limits<pid_t>::max());
        if (Outcome done = WriteFile(file, number + text.substr(end), 0600, PackageOwner());
            !done) {
            return done;
        }
    }
    return Outcome::Good();
}

// Processes of the cluster that its server has left behind, also those whose program an upgrade has
// replaced since.
std::vector<pid_t> Orphans(const std::string &programs) {
    const RunAs account(Who::kPackage);
    std::vector<pid_t> found;
    std::error_code error;
    const std::string server = programs + "/postgres";
    for (const fs::directory_entry &entry : fs::directory_iterator("/proc", error)) {
        const pid_t pid = LeadingNumber<int>(entry.path().filename().string());
        const std::string program = fs::read_symlink(entry.path() / "exe", error);
        if (pid > 0 && (program == server || program == server + " (deleted)") &&
            fs::equivalent(entry.path() / "cwd", DataDir(), error)) {
            found.push_back(pid);
        }
    }
    return found;
}

// A session that computes does not notice that its server was killed, and no other server starts as
// long as it is there.
void EndOrphans(const std::string &programs) {
    const auto deadline = steady_clock::now() + kOrphansPatience;
    for (auto left = Orphans(programs); !left.empty() && steady_clock::now() < deadline;
         left = Orphans(programs)) {
        for (const pid_t pid : left) {
            kill(pid, SIGQUIT);
        }
        std::this_thread::sleep_for(kPollInterval);
    }
}

// Waits for a server that somebody else has started or stopped a moment ago, until it answers or is
// gone (`up` tells).
Outcome WaitForServer(bool &up) {
    const auto deadline = steady_clock::now() + kPatience;
    for (;; std::this_thread::sleep_for(kPollInterval)) {
        const Postmaster server = ReadPostmaster();
        up = IsAlive(server);
        if (!up || (server.ready && SocketAnswers())) {
            return Outcome::Good();
        }
        if (steady_clock::now() > deadline) {
            return Outcome::Problem(
                "the database of " + DataDir() + " runs as process " + std::to_string(server.pid) +
                " but does not answer; see " + SystemPath(path::kClusterLog) +
                ", or remove postmaster.pid there if that " + "process is not the database");
        }
    }
}

// The folder of the programs that fit the cluster's own version, which will not always be the
// newest.
Outcome FindOwnPrograms(std::string &folder) {
    if (access(DataDir().c_str(), R_OK | X_OK) != 0) {
        return Failed("open the database", DataDir());
    }
    const std::optional<std::string> version = ReadTextFile(DataDir() + "/PG_VERSION");
    if (!version) {
        return Failed("read", DataDir() + "/PG_VERSION");
    }
    folder = FindPrograms(LeadingNumber<int>(*version));
    return folder.empty() ? NoPrograms(LeadingNumber<int>(*version)) : Outcome::Good();
}

// What it takes to start or stop the cluster: nobody else changes the root meanwhile, and the
// programs of its version are there.
struct Control {
    RootLock lock;
    std::string programs;  // their folder
    Outcome done = lock ? FindOwnPrograms(programs) : lock.Problem();
};

// ---- creation ----------------------------------------------------------------------------------

std::string Quoted(std::string_view text, char quote) {
    std::string quoted(1, quote);
    for (const char c : text) {
        quoted.append(c == quote ? 2 : 1, c);
    }
    return quoted + quote;
}

// The account of the machine that the server runs as. Empty when the machine does not know it.
std::string ServerAccount() {
    const std::optional<Owner> owner = PackageOwner();
    const passwd *entry = getpwuid(owner ? owner->uid : geteuid());
    return entry != nullptr ? entry->pw_name : "";
}

// Role names are let in from the server's own account and root's.
std::string IdentText(const std::string &serverAccount) {
    std::string text;
    for (const std::string &account : {serverAccount, std::string("root")}) {
        for (const char *role : {kPackageAccount, "varnadmin"}) {
            text += "tonvale " + Quoted(account, '"') + " " + Quoted(role, '"') + "\n";
        }
    }
    return text;
}

Outcome WriteSettings(const std::string &dir, const std::string &serverAccount,
                      Durability durability) {
    const std::optional<Owner> owner = PackageOwner();
    std::string settings = kSettings;
    settings += "unix_socket_directories = " +
                Quoted(Quoted(SystemPath(path::kDatabaseSocketDir), '"'), '\'') + "\n";
    if (durability == Durability::kNone) {
        settings += kNoDurability;
    }
    const std::string main = dir + "/postgresql.conf";
    const std::optional<std::string> defaults = ReadTextFile(main);
    if (!defaults) {
        return Failed("read", main);
    }
    const std::pair<std::string, std::string> files[] = {
        {main, *defaults + "\ninclude '" + kSettingsFile + "'\n"},
        {dir + "/" + kSettingsFile, settings},
        {dir + "/pg_hba.conf", kRoles},
        {dir + "/pg_ident.conf", IdentText(serverAccount)},
    };
    for (const auto &[file, text] : files) {
        if (Outcome done = WriteFile(file, text, 0600, owner); !done) {
            return done;
        }
    }
    return Outcome::Good();
}

// Role and database are made without a server that listens: nothing to start, wait for and stop.
Outcome RunFirstStatements(const std::string &programs, const std::string &dir) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return Failed("make a pipe for", dir);
    }
    const UniqueFd reading(ends[0]);
    UniqueFd writing(ends[1]);
    if (!WriteAll(writing.Get(), kFirstStatements)) {
        return Failed("send the first statements to", dir);
    }
    writing.Reset();
    const Captured run =
        RunProgram(programs, "postgres",
                   {"--single", "-c", "exit_on_error=on", "-D", dir, "postgres"}, reading.Get());
    return run.status == 0 ? Outcome::Good() : ProgramFailed("create the database", run);
}

Outcome BuildCluster(const std::string &programs, const std::string &serverAccount,
                     const std::string &dir, Durability durability) {
    std::vector<std::string> arguments = {
        "--pgdata=" + dir,   "--username=varnadmin", "--encoding=UTF8",
        "--locale=C",        "--lc-collate=C",       "--lc-ctype=C.UTF-8",
        "--auth-local=peer", "--auth-host=reject",   "--no-instructions"};
    if (durability == Durability::kNone) {
        arguments.emplace_back("--no-sync");
    }
    const Captured run = RunProgram(programs, "initdb", std::move(arguments));
    if (run.status != 0) {
        return ProgramFailed("create the database cluster", run);
    }
    if (Outcome done = WriteSettings(dir, serverAccount, durability); !done) {
        return done;
    }
    return RunFirstStatements(programs, dir);
}

}  // namespace

bool HasCluster() {
    std::error_code error;
    return fs::is_directory(DataDir(), error);
}

Outcome CreateCluster(Durability durability) {
    if (SystemRoot().empty()) {
        return Outcome::Problem("a database cluster of its own needs a root (--root DIR)");
    }
    const RootLock lock;
    if (!lock) {
        return lock.Problem();
    }
    if (HasCluster()) {
        return Outcome::Good();
    }
    const std::string programs = FindPrograms(0);
    if (programs.empty()) {
        return NoPrograms(kOldestVersion);
    }
    const std::string serverAccount = ServerAccount();
    if (serverAccount.empty()) {
        return Outcome::Problem("the database server cannot run as user id " +
                                std::to_string(geteuid()) +
                                ", which has no account on this machine");
    }
    // What is built under this name only, and renamed when it is complete, cannot be mistaken for a
    // finished cluster after an interruption.
    const std::string unfinished = DataDir() + ".new";
    std::error_code error;
    fs::remove_all(unfinished, error);
    Outcome done = BuildCluster(programs, serverAccount, unfinished, durability);
    if (done && rename(unfinished.c_str(), DataDir().c_str()) != 0) {
        done = Failed("rename", unfinished);
    }
    if (!done) {
        fs::remove_all(unfinished, error);
    }
    return done;
}

bool IsClusterRunning() {
    return IsAlive(ReadPostmaster());
}

Outcome StartCluster(bool *started) {
    if (started != nullptr) {
        *started = false;
    }
    if (!HasCluster()) {
        return Outcome::Problem("there is no database in " + DataDir() + ": run 'tonvale init" +
                                RootOption() + "' first");
    }
    const Control control;
    if (!control.done) {
        return control.done;
    }
    bool up = false;
    if (Outcome done = WaitForServer(up); !done || up) {
        return done;
    }
    EndOrphans(control.programs);
    if (Outcome done = DisownStaleFiles(ReadPostmaster()); !done) {
        return done;
    }
    const std::string log = SystemPath(path::kClusterLog);
    struct stat before {};
    const off_t logged = stat(log.c_str(), &before) == 0 ? before.st_size : 0;
    Captured run = RunProgram(control.programs, "pg_ctl",
                              {"start", "-w", "-t", kPatienceSeconds, "-s", "-D", DataDir(), "-l",
                               log, "-o", kQuickRecovery});
    if (run.status != 0) {
        run.output += ReadTextFile(log, logged).value_or("");
        return ProgramFailed("start the database of", run);
    }
    if (started != nullptr) {
        *started = true;
    }
    return Outcome::Good();
}

Outcome StopCluster() {
    if (!HasCluster()) {
        return Outcome::Good();
    }
    const Control control;
    if (!control.done || !IsAlive(ReadPostmaster())) {
        return control.done;
    }
    const Captured run =
        RunProgram(control.programs, "pg_ctl",
                   {"stop", "-w", "-m", "fast", "-t", kPatienceSeconds, "-s", "-D", DataDir()});
    return run.status == 0 ? Outcome::Good() : ProgramFailed("stop the database of", run);
}

}  // namespace varn::host
