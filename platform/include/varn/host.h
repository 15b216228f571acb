// Preparing a plain Linux machine: a root to run in, a database cluster of its own, the schema.
//
// These are the parts of the platform that a storage system brings along and a plain machine does
// not. Programs that set up or check a system use them, and the tests.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "varn/export.h"

namespace varn::host {

// Success, or a message for a person: what failed, and what to do about it.
class [[nodiscard]] Outcome {
  public:
    static Outcome Good() { return {}; }
    static Outcome Problem(std::string message) { return Outcome(std::move(message)); }
    explicit operator bool() const { return good_; }
    const std::string &Message() const { return message_; }

  private:
    Outcome() = default;
    explicit Outcome(std::string message) : good_(false), message_(std::move(message)) {}
    bool good_ = true;
    std::string message_;
};

// Creates what is missing below SystemRoot() and keeps what is there: the folders of the fixed
// system paths, the accounts (root, Tonvale, admin, guest), the version file, the list of MIME
// types, the homes link, the package configuration, the share "homes", and links to the host's
// picture converter, to the indexer and to the encoder; the last two are looked for in
// `programDir`. The package's account "Tonvale" takes the ids of the host's account "Tonvale".
// Without that one it takes those of "postgres" when root calls, and otherwise those of the
// process. Fails without a root (a real installation).
VARN_EXPORT Outcome PrepareRoot(const std::string &programDir);

// Makes the first login of the web server where there are no logins yet: the account "admin" with a
// random password, which is kept in clear text in "/etc/initial-login" (NAME:PASSWORD, for its
// owner alone), and as a hash (crypt(5), SHA-512) where the web server looks. *made (may be null)
// becomes that text when this call made it, and "" otherwise.
VARN_EXPORT Outcome PrepareLogin(std::string *made);

// Makes an account of the root, or adds what it lacks: its lines in the files of accounts and
// groups ("users", and "administrators" with `isAdmin`), its home, and "music" in it. No user id is
// given twice.
VARN_EXPORT Outcome AddAccount(const std::string &name, bool isAdmin);

// Puts an account of the root into the group "administrators", or takes it out.
VARN_EXPORT Outcome SetAdministrator(const std::string &name, bool isAdmin);

// Removes an account of the root: with `withMusic` its home and all that is in it, then its places
// in groups, then its own line. An account that is not there is a success.
VARN_EXPORT Outcome RemoveAccount(const std::string &name, bool withMusic);

// Makes the missing folders of the web server and of the encoders' turns: what is below /var/run
// may be lost when the machine restarts.
VARN_EXPORT Outcome PrepareWebFolders();

// Good when the files hold a certificate (or a chain that begins with it) and the key that belongs
// to it, both in PEM and without a password.
VARN_EXPORT Outcome CheckCertificate(const std::string &certificate, const std::string &key);

// Registers folders of music as shares, named after their last component (a number is appended to a
// name that is taken), and adds them to the indexed folders. Folders that are registered already
// stay. Every folder must be readable; on failure nothing is registered.
VARN_EXPORT Outcome AddMusicFolders(const std::vector<std::string> &folders);

// The indexed folders, absolute, in the order of the file "/usr/varn/etc/index_folder.conf".
VARN_EXPORT std::vector<std::string> IndexedFolders();

struct HomeOwner {
    std::string name;
    uid_t uid;
    std::string home;  // as the account has it
};

// The accounts whose home folder lies below the folder of all homes, the target of the link
// "/var/services/homes", whether those folders are there or not. None when the accounts or the link
// cannot be read, which is not the same as an empty list: there may be such accounts.
VARN_EXPORT std::optional<std::vector<HomeOwner>> HomeOwners();

// " --root DIR", quoted for a shell where needed, or "" without a root: for hints in messages.
VARN_EXPORT std::string RootOption();

// Which server a root's library database is on: a cluster of its own below the root, or the one
// that the database client's variables (PGHOST and its kin) name.
enum class DatabaseKind { kPrivate, kExternal };

// The root's choice, kept in the package configuration; private until one is chosen.
VARN_EXPORT DatabaseKind ChosenDatabase();
VARN_EXPORT Outcome ChooseDatabase(DatabaseKind kind);

enum class Durability {
    kFull,
    kNone,  // no fsync: for tests and measurements, whose data may be lost with the machine
};

// Creates the root's own PostgreSQL cluster where there is none, listening on the local socket
// only, with the role "Tonvale" and the database "mediaserver"; the cluster is left stopped or
// running as it was found. An interrupted creation is cleared away and done again.
VARN_EXPORT Outcome CreateCluster(Durability durability);

// True when the root has a cluster of its own.
VARN_EXPORT bool HasCluster();

// True when its server runs, even when it does not answer yet.
VARN_EXPORT bool IsClusterRunning();

// Starts the root's own cluster when it is not running (*started, which may be null, tells), and
// waits until it answers. First ends sessions that outlived their server.
VARN_EXPORT Outcome StartCluster(bool *started);

// Stops it (sessions are ended); a cluster that is not running is a success.
VARN_EXPORT Outcome StopCluster();

// Brings the schema of the library database to this version, one transaction a step; a schema of
// this version is left alone, and one of a later version is refused.
VARN_EXPORT Outcome MigrateSchema();

// Good when the library database answers and has exactly this version's schema. Neither call asks
// another server in place of a root's own cluster, even when that is missing.
VARN_EXPORT Outcome CheckSchema();

}  // namespace varn::host
