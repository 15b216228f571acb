// VARN.Tonvale.MediaServer: other media servers on the network.
#include <chrono>
#include <climits>

#include "action.h"
#include "server_song.h"
#include "server_url.h"
#include "service/media_server.h"
#include "song_sound.h"
#include "tonvale/settings.h"
#include "tonvale/streaming.h"

namespace tonvale_entry {

namespace {

constexpr int kMostObjects = 1000;
constexpr int kUsualObjects = 100;
constexpr int kMostWait = 10;  // seconds

// A request is answered within this time, or refused. A server that sends more than this for a page
// of 100 objects is none.
constexpr int kMostSeconds = 20;
constexpr int kSpareSeconds = 3;  // a search may be late by so much
constexpr std::size_t kMostPageBytes = std::size_t{4} << 20;
constexpr std::size_t kMostBytes = std::size_t{16} << 20;  // all of them are kept

Json::Value List(const Request &asked) {
    mediaserver::SearchOptions search;
    const auto wait = static_cast<int>(asked.Number("wait", 3, 1, kMostWait));
    search.wait = std::chrono::seconds(wait);
    search.read = std::chrono::seconds(kMostSeconds - wait - kSpareSeconds);
    const std::string address = asked.Text("address");
    if (!address.empty()) {
        if (!IsServerAddress(address)) {
            throw Refusal{Code::kBadParameter};
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
    question.metadata = asked.Choice("what", {"children", "metadata"}, "children") == "metadata";
    question.offset = static_cast<int>(asked.Number("offset", 0, 0, INT_MAX));
    question.limit = static_cast<int>(asked.Number("limit", kUsualObjects, 1, kMostObjects));
    question.pageSeconds = kMostSeconds;
    question.seconds = kMostSeconds;
    question.pageBytes = kMostPageBytes;
    question.bytes = kMostBytes;
    if (!IsServerUrl(question.url)) {
        throw Refusal{Code::kBadParameter};
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
        const long long position = Asked().Number("position", 0, 0, kLongestSong);
        const std::string id = Asked().RequiredText("id");
        const VARN_MEDIA_INFO song =
            FindServerSong(Asked().RequiredText("url"), id, std::chrono::seconds(kMostSeconds));
        return SendEncoded("audio/mpeg",
                           [&] { return VARNAudioTranscodeUrl(song.path, "mp3", position); });
    }
};

constexpr Method kMethods[] = {
    {.name = "list", .make = Make<List>, .asksElsewhere = true, .takesRoot = false},
    {.name = "browse", .make = Make<Browse>, .asksElsewhere = true, .takesRoot = false},
    {.name = "stream",
     .make = Make<Stream>,
     .asksElsewhere = true,
     .isMedia = true,
     .takesRoot = false},
};

}  // namespace

const Api kMediaServerApi{"VARN.Tonvale.MediaServer", kMethods};

}  // namespace tonvale_entry
