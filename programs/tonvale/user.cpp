// Users, their passwords and keys: the verb user.
#include <json/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <iostream>
#include <memory>

#include "command.h"
#include "database.h"
#include "display.h"
#include "page_output.h"
#include "service/people/keys.h"
#include "service/people/people.h"
#include "service/people/settings.h"
#include "service/sharing/link_hooks.h"
#include "tonvale/settings.h"

namespace tonvale_cli {

namespace {

using tonvale_service::Right;

struct UserOptions {
    std::string user;
    std::string purpose;
    int key = 0;
    bool isAdmin = false;
    bool readsPassword = false;
    bool withMusic = false;
    bool yes = false;
    bool json = false;
};

// ---- list and sync -----------------------------------------------------------------------------

std::string NamesOf(const Json::Value &rights) {
    std::string names;
    for (const Right &right : tonvale_service::AllRights()) {
        if (rights[right.name].asBool()) {
            names += (names.empty() ? "" : " ") + std::string(right.name);
        }
    }
    return names;
}

int ListUsers(const UserOptions &options) {
    if (!Succeeded(CheckRoot())) {
        return kFailed;
    }
    const Json::Value users = tonvale_service::UserList();
    if (options.json) {
        PrintJson(users);
        return kDone;
    }
    Table table({{"UID", true, false}, {"NAME"}, {"RIGHTS", false, true}});
    for (const Json::Value &user : users) {
        const std::string name = user["name"].asString();
        table.AddRow(
            {user["uid"].asString(), name.empty() ? "(gone)" : name, NamesOf(user["rights"])});
    }
    table.Print();
    return kDone;
}

int SyncUsers(const UserOptions & /*options*/) {
    if (!Succeeded(CheckRoot())) {
        return kFailed;
    }
    const Json::Value before = tonvale_service::ReadUsers();
    StartForLinks();
    tonvale_service::SyncUsers();
    const Json::Value after = tonvale_service::ReadUsers();
    for (const unsigned uid : AudioUsers::enumUsers(before)) {
        if (!after.isMember(std::to_string(uid))) {
            std::printf("Removed the entry of user id %u.\n", uid);
        }
    }
    tonvale_service::LinksFollowLostUsers();
    return kDone;
}

// ---- add, passwd, remove -----------------------------------------------------------------------

// The first line of the standard input, or a random password, which is told when it is set.
std::string PasswordFor(const UserOptions &options) {
    std::string password;
    if (options.readsPassword) {
        constexpr std::size_t kEnough = 1024;  // of a line without end
        for (int c; password.size() < kEnough && (c = std::cin.get()) != EOF && c != '\n';) {
            password += static_cast<char>(c);
        }
    } else {
        password = tonvale_service::MadePassword();
    }
    return password;
}

void TellPassword(const UserOptions &options, const std::string &password) {
    if (!options.readsPassword) {
        std::printf("The login for the web is %s:%s (shown once).\n", options.user.c_str(),
                    password.c_str());
    }
}

int AddUser(const UserOptions &options) {
    if (!Succeeded(CheckRoot())) {
        return kFailed;
    }
    const std::string password = PasswordFor(options);
    tonvale_service::AddUser(options.user, options.isAdmin, password);
    std::printf("%s is a user now%s.\n", options.user.c_str(),
                options.isAdmin ? ", and an administrator" : "");
    TellPassword(options, password);
    return kDone;
}

int ChangePassword(const UserOptions &options) {
    if (!Succeeded(EnsureDatabase())) {
        return kFailed;
    }
    tonvale_service::UidOf(options.user);  // before a password is typed
    const std::string password = PasswordFor(options);
    tonvale_service::SetPassword(options.user, password);
    std::printf("%s has another password; sessions and keys are ended.\n", options.user.c_str());
    TellPassword(options, password);
    return kDone;
}

void TellBelongings(const UserOptions &options) {
    const auto has = tonvale_service::BelongingsOf(options.user);
    std::printf(
        "%s goes, with the login, the rights, %d sessions, %d keys, %d share links, %d pins, "
        "%d stars, the plays of %d songs, %d favourite songs, bookmarks, the queue and the lists "
        "without a folder.\n",
        options.user.c_str(), has.sessions, has.keys, has.links, has.pins, has.stars, has.plays,
        has.favourites);
    struct stat info {};
    if (!has.home.empty() && stat(has.home.c_str(), &info) == 0) {
        std::printf("%s%s\n", Printable(has.home).c_str(),
                    options.withMusic ? " goes with all that is in it."
                                      : " stays; --delete-music would remove it.");
    }
    std::printf("Shared playlists stay.\n");
}

// True when the person at the terminal agrees.
bool IsAgreed(const UserOptions &options) {
    if (options.yes) {
        return true;
    }
    if (isatty(STDIN_FILENO) == 0) {
        Complain("nothing is removed: there is no terminal to ask at; add --yes");
        return false;
    }
    std::printf("Type yes to go on: ");
    std::fflush(stdout);
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "yes";
}

int RemoveUser(const UserOptions &options) {
    if (!Succeeded(EnsureDatabase())) {
        return kFailed;
    }
    TellBelongings(options);
    if (!IsAgreed(options)) {
        return kUsage;
    }
    tonvale_service::RemoveUser(options.user, options.withMusic);
    std::printf("%s is removed.\n", options.user.c_str());
    return kDone;
}

// ---- keys --------------------------------------------------------------------------------------

int AddKey(const UserOptions &options) {
    if (!Succeeded(EnsureDatabase())) {
        return kFailed;
    }
    const uid_t uid = tonvale_service::UidOf(options.user);
    const std::string key = tonvale_service::NewKey(uid, options.user, options.purpose);
    std::printf("%s\n", key.c_str());
    return kDone;
}

// "never" for 0.
std::string DayOf(long long seconds) {
    if (seconds == 0) {
        return "never";
    }
    const std::time_t time = seconds;
    std::tm parts{};
    char text[32] = "";
    localtime_r(&time, &parts);
    std::strftime(text, sizeof text, "%Y-%m-%d", &parts);
    return text;
}

int ListKeys(const UserOptions &options) {
    if (!Succeeded(EnsureDatabase())) {
        return kFailed;
    }
    const auto keys = tonvale_service::KeysOf(tonvale_service::UidOf(options.user), options.user);
    if (options.json) {
        PrintJson(tonvale_service::KeyList(keys));
        return kDone;
    }
    Table table({{"ID", true, false}, {"MADE"}, {"USED"}, {"FOR", false, true}});
    for (const tonvale_service::Key &key : keys) {
        table.AddRow({std::to_string(key.id), DayOf(key.made), DayOf(key.lastUsed), key.purpose});
    }
    table.Print();
    return kDone;
}

int RemoveKey(const UserOptions &options) {
    if (!Succeeded(EnsureDatabase())) {
        return kFailed;
    }
    tonvale_service::RemoveKey(tonvale_service::UidOf(options.user), options.key);
    return kDone;
}

using Options = std::shared_ptr<UserOptions>;

Verb AddVerb(const Verb &parent, const char *name, const char *description, const Options &options,
             int (*run)(const UserOptions &)) {
    const Verb verb = parent.AddVerb(name, description);
    verb.Do([=] { return run(*options); });
    return verb;
}

// A verb for the user that it names.
Verb AddVerbFor(const Verb &parent, const char *name, const char *description,
                const Options &options, int (*run)(const UserOptions &)) {
    const Verb verb = AddVerb(parent, name, description, options, run);
    verb.AddText("USER", options->user, "The user's name").Required();
    return verb;
}

void AddKeyVerbs(const Verb &user, const Options &options) {
    const Verb key = user.AddGroup("key", "Show and change the keys of a user's programs");
    AddVerbFor(key, "add", "Make a key and print it", options, AddKey)
        .AddText("--for", options->purpose, "What the key is for");
    AddVerbFor(key, "list", "List the keys", options, ListKeys)
        .AddFlag("--json", options->json, "Print JSON instead of a table");
    AddVerbFor(key, "remove", "Remove a key", options, RemoveKey)
        .AddNumber("ID", options->key, 1, "The key's id")
        .Required();
}

}  // namespace

void AddUserVerb(const Verb &app) {
    const Verb user = app.AddGroup("user", "Show and change the users");
    const auto options = std::make_shared<UserOptions>();
    AddVerb(user, "list", "List the users with an entry, and what they may do", options, ListUsers)
        .AddFlag("--json", options->json, "Print JSON instead of a table");
    AddVerb(user, "sync", "Remove the entries of users that no longer exist", options, SyncUsers);
    constexpr char kStdin[] = "Read the password from the standard input instead of making one";
    const Verb add = AddVerbFor(user, "add", "Make a user with a login", options, AddUser);
    add.AddFlag("--admin", options->isAdmin, "Make an administrator");
    add.AddFlag("--password-stdin", options->readsPassword, kStdin);
    AddVerbFor(user, "passwd", "Give a user another password", options, ChangePassword)
        .AddFlag("--password-stdin", options->readsPassword, kStdin);
    const Verb remove = AddVerbFor(user, "remove", "Remove a user and what belongs to the user",
                                   options, RemoveUser);
    remove.AddFlag("--delete-music", options->withMusic, "Remove the home with its music");
    remove.AddFlag("--yes", options->yes, "Do not ask");
    AddRights(user);
    AddKeyVerbs(user, options);
}

}  // namespace tonvale_cli
