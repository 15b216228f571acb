#include <json/json.h>

#include <cstdio>
#include <memory>
#include <optional>

#include "browse.h"
#include "command.h"
#include "complain.h"
#include "display.h"
#include "page_output.h"
#include "service/devices/media_server.h"

namespace tonvale_cli {

namespace {

using mediaserver::SearchOptions;
using mediaserver::SearchResult;
using mediaserver::Server;

constexpr int kDeepest = 32;
constexpr int kLongestWait = 60;

struct BrowseOptions : tonvale_service::BrowseQuestion {
    bool json = false;
};

struct ListOptions {
    std::optional<std::string> address;
    int wait = 3;
    bool json = false;
};

void PrintServers(const std::vector<Server> &servers) {
    Table table({{"NAME", false, true}, {"MODEL", false, true}, {"URL TO BROWSE"}});
    for (const Server &server : servers) {
        table.AddRow({server.name, server.model, server.controlUrl});
    }
    if (!servers.empty()) {
        table.Print();
    }
    std::printf("%zu media %s\n", servers.size(), servers.size() == 1 ? "server" : "servers");
}

int List(const ListOptions &options) {
    SearchOptions search;
    search.wait = std::chrono::seconds(options.wait);
    if (options.address) {
        search.address = tonvale_service::SearchAddress(*options.address);
    }
    const SearchResult result = tonvale_service::FindServers(search);
    for (const std::string &problem : result.problems) {
        Complain(Printable(problem));
    }
    if (options.json) {
        PrintJson(tonvale_service::ServersData(result.servers));
    } else {
        PrintServers(result.servers);
    }
    return kDone;
}

void AddList(const Verb &parent) {
    const Verb verb = parent.AddVerb("list", "Search the network for media servers");
    const auto options = std::make_shared<ListOptions>();
    verb.AddText("--address", options->address,
                 "Ask this machine alone, for networks without multicast")
        .ValueName("HOST[:PORT]");
    verb.AddNumber("--wait", options->wait, 1, "How many seconds to wait for answers",
                   kLongestWait);
    verb.AddFlag("--json", options->json, "Print JSON instead of a table");
    verb.Do([options] { return List(*options); });
}

void AddBrowse(const Verb &parent) {
    const Verb verb = parent.AddVerb("browse", "Show the objects of a media server");
    const auto options = std::make_shared<BrowseOptions>();
    verb.AddText("URL", options->url, "The server, as 'list' shows it").Required();
    verb.AddText("ID", options->id, "The object to begin at");
    verb.AddFlag("--metadata", options->metadata, "The object itself, not what is in it");
    verb.AddNumber("--depth", options->depth, 1, "How many levels of containers to open", kDeepest);
    verb.AddPaging(options->offset, options->limit, "objects");
    verb.AddFlag("--json", options->json, "Print JSON instead of a tree");
    verb.Do([options] { return Browse(*options, options->json); });
}

}  // namespace

void AddMediaServer(const Verb &app) {
    const Verb verb =
        app.AddGroup(kMediaServer, "Find and browse other media servers on the network");
    AddList(verb);
    AddBrowse(verb);
}

}  // namespace tonvale_cli
