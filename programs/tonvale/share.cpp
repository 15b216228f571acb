// Share links.
#include <cstdio>
#include <memory>

#include "command.h"
#include "link_address.h"
#include "page_output.h"
#include "playlist_options.h"
#include "service/base/failure.h"
#include "service/playlists/playlists.h"
#include "service/sharing/links.h"
#include "service/songs/songs.h"
#include "varn/run_as.h"

namespace tonvale_cli {

namespace {

using tonvale_service::CheckedDays;
using tonvale_service::IsPlaylistId;
using tonvale_service::LinkName;
using tonvale_service::Links;

// The collection tells whose links, and among which playlists a name is looked for.
struct ShareOptions : CollectionOptions {
    std::string name;  // of a playlist, a link or a song
    std::string from;
    std::string until;
    std::string address;
    int offset = 0;
    int limit = 100;
    bool json = false;
};

using Options = const ShareOptions &;

std::string Day(const Json::Value &day) {
    return day == "0" ? "" : day.asString();
}

// The link's address on a line of its own, to be handed on.
void PrintLink(Options options, const Json::Value &sharing, const char *url = "url") {
    if (options.json) {
        Json::Value data(Json::objectValue);
        data["sharing"] = sharing;
        PrintJson(data);
    } else {
        std::printf("%s\n", Printable(sharing[url].asString()).c_str());
    }
    if (options.address.empty()) {
        WarnOfAddress(sharing[url].asString());
    }
}

void List(Options options, Links &links) {
    const Json::Value data = links.Page(options.offset, options.limit);
    if (options.json) {
        PrintJson(data);
        return;
    }
    Table table({{"LINK"},
                 {"PLAYLIST", false, true},
                 {"FROM"},
                 {"UNTIL"},
                 {"STATUS"},
                 {"URL", false, true}});
    for (const Json::Value &sharing : data["sharings"]) {
        table.AddRow({sharing["id"].asString(), sharing["name"].asString(),
                      Day(sharing["date_available"]), Day(sharing["date_expired"]),
                      sharing["status"].asString(), sharing["url"].asString()});
    }
    PrintPage(table, options.offset, data["sharings"].size(), data["total"].asInt64(),
              {"link", "links"});
}

// A link's own identifier, or its playlist's.
LinkName Named(const std::string &name) {
    return IsPlaylistId(name) ? LinkName{"", name} : LinkName{name, ""};
}

// The identifier of a playlist that is named by that, or by its id or title.
std::string PlaylistId(Options options) {
    using namespace tonvale_service;
    return IsPlaylistId(options.name)
               ? options.name
               : AsAny(options.collection, FindPlaylist(options.collection, options.name)).id;
}

// Calls with the first identifier of the name that is a song's.
Json::Value WithSong(Options options, Links &links,
                     Json::Value (Links::*change)(const std::string &)) {
    using namespace tonvale_service;
    for (const std::string &id : SongIds(options.name)) {
        try {
            return (links.*change)(id);
        } catch (const Failure &failure) {
            if (failure.Why() != Reason::kNoSuchSong) {
                throw;
            }
        }
    }
    throw Failure(Reason::kNoSuchSong, options.name);
}

int Create(Options options, Links &links) {
    const auto days = CheckedDays(options.from, options.until);
    PrintLink(options, links.Create(PlaylistId(options), days));
    return kDone;
}

int Update(Options options, Links &links) {
    const auto days = CheckedDays(options.from, options.until);
    PrintLink(options, links.Update(Named(options.name), days));
    return kDone;
}

int Delete(Options options, Links &links) {
    links.Delete(Named(options.name));
    if (options.json) {
        PrintJson(Json::Value(Json::objectValue));
    }
    return kDone;
}

int ShareSong(Options options, Links &links) {
    PrintLink(options, WithSong(options, links, &Links::ShareSong), "song_url");
    return kDone;
}

int UnshareSong(Options options, Links &links) {
    const Json::Value sharing = WithSong(options, links, &Links::UnshareSong);
    if (options.json) {
        PrintLink(options, sharing);
    }
    return kDone;
}

using Act = int (*)(Options options, Links &links);

int Run(ShareOptions &options, Act act) {
    const varn::RunAs before(varn::Who::kCaller);
    if (!Prepare(options)) {
        return kFailed;
    }
    UseAddress(options.address);
    Links links(options.collection.uid, options.collection.user);
    return act(options, links);
}

// ---- the command line ---------------------------------------------------------------------------

struct LinkVerb {
    const char *name;
    const char *description;
    Act act;
    const char *operand;  // null: none
    const char *meaning;
    bool hasDays;
};

constexpr char kLink[] = "The link, as 'tonvale share list' shows it, or its playlist's identifier";
constexpr char kSong[] = "The song's id, as 'tonvale songs' shows it, or its identifier";

constexpr LinkVerb kVerbs[] = {
    {"create", "Share a playlist, and print the link's address", Create, "PLAYLIST",
     "Its id, title or identifier", true},
    {"update", "Change the days on which a link works; without days it always works", Update,
     "LINK", kLink, true},
    {"delete", "Delete a link; the playlist stays", Delete, "LINK", kLink, false},
    {"song", "Share a single song, and print its address", ShareSong, "SONG", kSong, false},
    {"unsong", "Stop sharing a single song", UnshareSong, "SONG", kSong, false},
};

Verb AddVerb(const Verb &group, const char *name, const char *description,
             const std::shared_ptr<ShareOptions> &options, Act act) {
    const Verb verb = group.AddVerb(name, description);
    verb.AddText("--user", options->collection.user, "Whose links").ValueName("NAME");
    verb.AddFlag("--json", options->json, "Print JSON");
    AddAddress(verb, options->address);
    verb.Do([=] { return Run(*options, act); });
    return verb;
}

}  // namespace

void AddShare(const Verb &app) {
    const Verb group = app.AddGroup("share", "Publish playlists and songs under links");
    const auto listed = std::make_shared<ShareOptions>();
    const Verb list = AddVerb(group, "list", "List the links, a page at a time", listed,
                              [](Options options, Links &links) {
                                  List(options, links);
                                  return kDone;
                              });
    list.AddPaging(listed->offset, listed->limit, "links", 1);
    for (const LinkVerb &known : kVerbs) {
        const auto options = std::make_shared<ShareOptions>();
        const Verb verb = AddVerb(group, known.name, known.description, options, known.act);
        verb.AddText(known.operand, options->name, known.meaning).Required();
        if (known.act == Create) {
            verb.AddFlag("--personal", options->collection.personal,
                         "One of the user's own playlists instead of a shared one");
        }
        if (known.hasDays) {
            verb.AddText("--from", options->from, "The first day, YYYY-MM-DD (else today)")
                .ValueName("DAY");
            verb.AddText("--until", options->until, "The last day; needed with --from")
                .ValueName("DAY");
        }
    }
}

}  // namespace tonvale_cli
