// VARN.Tonvale.MediaServer: other media servers on the network.
#include <chrono>

#include "action.h"
#include "list_request.h"
#include "server_song.h"
#include "server_url.h"
#include "service/devices/media_server.h"
#include "song_sound.h"
#include "tonvale/settings.h"
#include "tonvale/streaming.h"

namespace tonvale_entry {

namespace {

constexpr Parameter kObjects = LimitedTo(1000);
constexpr Parameter kWait{.name = "wait",
                          .what = "How many seconds servers have to answer.",
                          .kind = Kind::kNumber,
                          .low = 1,
                          .high = 10,
                          .usual = "3"};
constexpr Parameter kWhat{.name = "what",
                          .what = "What is in the object, or the object itself.",
                          .usual = "children",
                          .choices = "children metadata"};

// A request is answered or refused within this time. A server that sends more than kMostPageBytes
// for a page of 100 objects is refused.
constexpr int kMostSeconds = 20;
constexpr int kSpareSeconds = 3;  // a search may be late by so much
constexpr std::size_t kMostPageBytes = std::size_t{4} << 20;
constexpr std::size_t kMostBytes = std::size_t{16} << 20;  // all of them are kept

Json::Value List(const Request &asked) {
    mediaserver::SearchOptions search;
    const auto wait = static_cast<int>(asked.Number(kWait));
    search.wait = std::chrono::seconds(wait);
    search.read = std::chrono::seconds(kMostSeconds - wait - kSpareSeconds);
    const std::string address = asked.Text("address");
    if (!address.empty()) {
        if (!IsServerAddress(address)) {
            throw Refusal{Code::kBadParameter, "address"};
        }
        search.address = tonvale_service::SearchAddress(address);
    }
    std::vector<mediaserver::Server> servers = tonvale_service::FindServers(search).servers;
    std::erase_if(
        servers, [](const mediaserver::Server &server) { return !IsServerUrl(server.controlUrl); });
    return tonvale_service::ServersData(servers);
}

Json::Value Browse(const Request &asked) {
    tonvale_service::BrowseQuestion question;
    question.url = asked.RequiredText("url");
    question.id = asked.Text("id", "0");
    question.metadata = asked.Choice(kWhat) == "metadata";
    question.offset = static_cast<int>(asked.Number(kOffset));
    question.limit = static_cast<int>(asked.Number(kObjects));
    question.pageSeconds = kMostSeconds;
    question.seconds = kMostSeconds;
    question.pageBytes = kMostPageBytes;
    question.bytes = kMostBytes;
    if (!IsServerUrl(question.url)) {
        throw Refusal{Code::kBadParameter, "url"};
    }
    tonvale_service::ObjectCollector objects(question.offset);
    tonvale_service::BrowseServer(question, objects);
    return objects.Data();
}

// The sound of a song, as MP3: browsers hear from this server alone.
class Stream : public EncodedAction {
  public:
    using EncodedAction::EncodedAction;

  protected:
    bool Send() override {
        Asked().Require(RIGHT_STREAMING);
        const long long position = Asked().Number(kPosition);
        const std::string id = Asked().RequiredText("id");
        const VARN_MEDIA_INFO song =
            FindServerSong(Asked().RequiredText("url"), id, std::chrono::seconds(kMostSeconds));
        return SendEncoded("audio/mpeg",
                           [&] { return VARNAudioTranscodeUrl(song.path, "mp3", position); });
    }
};

constexpr std::array kListParameters = {
    kWait, Parameter{.name = "address", .what = "The one machine to ask: HOST or HOST:PORT."}};
constexpr std::array kBrowseParameters = {
    Parameter{.name = "url", .what = "Of the server, as list tells it.", .isRequired = true},
    Parameter{.name = "id",
              .what = "The object: its id, as browse tells it; 0 is the root.",
              .usual = "0"},
    kWhat, kOffset, kObjects};

constexpr std::array kStreamParameters = {
    Parameter{.name = "url", .what = "Of the server, as list tells it.", .isRequired = true},
    Parameter{.name = "id", .what = "The song: its id, as browse tells it.", .isRequired = true},
    kPosition};

constexpr Method kMethods[] = {
    {.name = "list",
     .make = Make<List>,
     .asksElsewhere = true,
     .takesRoot = false,
     .summary = "The servers that a search finds",
     .parameters = kListParameters,
     .answer = "Servers"},
    {.name = "browse",
     .make = Make<Browse>,
     .asksElsewhere = true,
     .takesRoot = false,
     .summary = "What is in an object of a server, or the object itself",
     .parameters = kBrowseParameters,
     .answer = "ServerObjects"},
    {.name = "stream",
     .make = Make<Stream>,
     .asksElsewhere = true,
     .isMedia = true,
     .takesRoot = false,
     .summary = "The sound of a song of a server, as MP3, for those with the right streaming",
     .parameters = kStreamParameters,
     .answer = "audio/mpeg"},
};

constexpr Field kServer[] = {{"name", "text"},
                             {"model", "text"},
                             {"udn", "text"},
                             {"url", "text", "to browse the server by"}};
constexpr Field kServers[] = {{"servers", "[Server]"}};
constexpr Field kObject[] = {{"kind", "=container item"}, {"resources", "[{any}]"}};
constexpr Field kObjectPage[] = {{"offset", "number"},
                                 {"containers", "[ServerObject]"},
                                 {"items", "[ServerObject]"},
                                 {"number_returned", "number", "of both together"}};
constexpr Schema kSchemas[] = {
    {"Server", kServer},
    {"Servers", kServers},
    {"ServerObject", kObject, "with what the server tells: id, title and others", true},
    {"ServerObjects", kObjectPage}};

}  // namespace

const Api kMediaServerApi{.name = "VARN.Tonvale.MediaServer",
                          .methods = kMethods,
                          .summary = "Other media servers on the network: docs/mediaservers.md",
                          .schemas = kSchemas};

}  // namespace tonvale_entry
