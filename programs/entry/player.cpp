// VARN.Tonvale.Player: the player daemon, the machine's sound card, and speakers' passwords.
#include "service/devices/player.h"

#include <algorithm>
#include <chrono>

#include "action.h"
#include "list_request.h"
#include "remote_url.h"
#include "server_song.h"
#include "service/devices/sound_card.h"
#include "service/devices/speaker.h"
#include "service/playlists/playlist_songs.h"
#include "speaker_address.h"
#include "tonvale/settings.h"
#include "worker.h"

namespace tonvale_entry {

namespace {

using namespace tonvale_service;

constexpr Parameter kSome = LimitedTo(500);
constexpr Parameter kListed{.name = "action",
                            .what = "What is listed.",
                            .usual = "renderers",
                            .choices = "renderers servers"};
constexpr Parameter kQueueDo{
    .name = "action", .what = "What to do.", .usual = "list", .choices = "list add delete clear"};
constexpr Parameter kVolumeDo{.name = "action",
                              .what = "What to do; card and set_card are the sound card's.",
                              .usual = "get",
                              .choices = "get set set_group card set_card"};
constexpr Parameter kVolume{.name = "value",
                            .what = "Of the sound card.",
                            .kind = Kind::kNumber,
                            .isRequired = true,
                            .high = 100};
constexpr Parameter kGains{
    .name = "action", .what = "What to do.", .usual = "get", .choices = "get send"};
constexpr std::size_t kMostServerSongs = 100;
constexpr std::chrono::seconds kServerPatience{20};

// The page of `list` that the request asks for.
Json::Value PageOf(const Request &asked, Json::Value (*list)(int, int)) {
    const PageWanted page = tonvale_entry::PageOf(asked, kSome);
    return list(page.offset, page.limit);
}

std::vector<std::string> ValuesIn(const Request &asked) {
    return asked.Text("value").empty() ? std::vector<std::string>() : asked.Values("value");
}

// Does the command with the values that come with the request.
Json::Value Tell(const Request &asked, std::string_view name) {
    const PlayerCommand *command = FindPlayerCommand(name);
    if (command == nullptr) {
        throw Refusal{Code::kBadParameter, "action"};
    }
    return TellPlayer(*command, ValuesIn(asked));
}

// Gives songs of the player what the user may see: identifiers, and no paths.
void Show(const Request &asked, Json::Value &songs) {
    Identify(asked.User().GetLoginUID(), songs);
    for (Json::Value &song : songs) {
        HidePath(song);
    }
}

Json::Value List(const Request &asked) {
    const std::string what = asked.Choice(kListed);
    return PageOf(asked, what == "servers" ? PlayerServers : PlayerRenderers);
}

Json::Value Info(const Request &asked) {
    Json::Value info = PlayerInfo(asked.Text("renderer"));
    if (info.isMember("song")) {
        Json::Value songs(Json::arrayValue);
        songs.append(info["song"]);
        Show(asked, songs);
        info["song"] = songs[0];
    }
    return info;
}

Json::Value Control(const Request &asked) {
    std::string name = asked.RequiredText("action");
    std::replace(name.begin(), name.end(), '_', '-');
    return Tell(asked, name);
}

Json::Value Volume(const Request &asked) {
    const std::string action = asked.Choice(kVolumeDo);
    if (action == "set" || action == "set_group") {
        return Tell(asked, action == "set" ? "volume" : "group-volumes");
    }
    if (action == "set_card") {
        return SetCardVolume(static_cast<int>(asked.Number(kVolume)));
    }
    if (action == "card") {
        return SoundCard();
    }
    Json::Value data(Json::objectValue);
    const Json::Value info = PlayerInfo("");
    data["volume"] = info["volume"];
    return data;
}

// Songs of the library that the user may hear, and streams from other machines; no paths.
std::vector<VARN_MEDIA_INFO> Songs(const Request &asked) {
    const varn::OwnedSongs found = RecordsOfIds(asked.User().GetLoginUID(), asked.Values("songs"));
    std::vector<VARN_MEDIA_INFO> songs;
    for (const PLAYLIST_REC *entry = found.get(); entry != nullptr; entry = entry->next) {
        if (IsHttpUrl(entry->info.path)) {
            LeaveWorker();  // a name is looked up
            if (!IsPermittedUrl(entry->info.path)) {
                throw Refusal{Code::kBadParameter, "songs"};
            }
        }
        songs.push_back(entry->info);
    }
    return songs;
}

Json::Value AddFromServer(const Request &asked) {
    const std::string url = asked.RequiredText("url");
    const std::vector<std::string> ids = asked.Values("ids");
    if (ids.size() > kMostServerSongs) {
        throw Refusal{Code::kBadParameter, "ids"};
    }
    const auto end = std::chrono::steady_clock::now() + kServerPatience;
    std::vector<VARN_MEDIA_INFO> songs;
    for (const std::string &id : ids) {
        const auto left =
            std::chrono::ceil<std::chrono::seconds>(end - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            throw Refusal{Code::kTookTooLong};
        }
        songs.push_back(FindServerSong(url, id, left));
    }
    return AddSongs(songs);
}

Json::Value Queue(const Request &asked) {
    const std::string action = asked.Choice(kQueueDo);
    if (action == "add") {
        return AddSongs(Songs(asked));
    }
    if (action != "list") {
        return Tell(asked, action);
    }
    Json::Value page = PageOf(asked, PlayerQueue);
    if (page.isMember("songs")) {
        Show(asked, page["songs"]);
    }
    return page;
}

Json::Value Equalizer(const Request &asked) {
    if (asked.Choice(kGains) == "get") {
        return SelectedEqualizer();
    }
    return SendEqualizer(ValuesIn(asked));
}

Json::Value PasswordTest(const Request &asked) {
    constexpr const char *kNames[] = {"open", "locked", "right", "wrong", "busy", "unknown"};
    const auto speaker = ParseSpeakerAddress(asked.RequiredText("renderer"));
    if (!speaker) {
        throw Refusal{Code::kBadParameter, "renderer"};
    }
    if (!IsPermittedSpeaker(*speaker)) {
        throw Refusal{Code::kNotPermitted};
    }
    const SpeakerStatus status = AskSpeaker(speaker->host, speaker->port, asked.Given("value"));
    Json::Value data(Json::objectValue);
    data["status"] = kNames[static_cast<int>(status)];
    return data;
}

// For users with the right to the server's own outputs: these play the queue, whose songs have
// several owners.
template <DataAction::Data Do>
Json::Value ForPlayers(const Request &asked) {
    asked.Require(RIGHT_USB);
    return Do(asked);
}

std::vector<std::string> CommandNames() {
    std::vector<std::string> names;
    for (const PlayerCommand &command : PlayerCommands()) {
        names.emplace_back(command.name);
        std::replace(names.back().begin(), names.back().end(), '-', '_');
    }
    return names;
}

constexpr std::array kControlParameters = {
    Parameter{.name = "action", .what = "What to do.", .isRequired = true, .names = CommandNames},
    Parameter{.name = "value",
              .what = "Of play, select and delete the song's number in the queue, from 0; of seek "
                      "seconds; of mode once, repeat, repeat-one or shuffle; of volume 0 to 100, "
                      "of group_volumes one for each of 64 devices at most; of enable and disable "
                      "the udn of a renderer."}};
constexpr std::array kEqualizerParameters = {
    kGains, Parameter{.name = "value",
                      .what = "Ten gains, -24 to 24 dB; otherwise those of the selected profile.",
                      .kind = Kind::kTexts}};
constexpr std::array kInfoParameters = {
    Parameter{.name = "renderer", .what = "Its udn, or its number in the list."}};
constexpr std::array kListParameters = {kListed, kOffset, kSome};
constexpr std::array kPasswordParameters = {
    Parameter{.name = "renderer",
              .what = "ADDRESS, ADDRESS:PORT or [IPV6]:PORT of a speaker in a network of this "
                      "machine.",
              .isRequired = true},
    Parameter{.name = "value", .what = "The password to try; in a form."}};
constexpr std::array kQueueParameters = {
    kQueueDo, kOffset, kSome,
    Parameter{.name = "songs",
              .what = "To add: identifiers of songs of the library and of streams, 1000 at most.",
              .kind = Kind::kTexts},
    Parameter{.name = "value", .what = "To delete: the song's number.", .kind = Kind::kNumber}};
constexpr std::array kVolumeParameters = {
    kVolumeDo, Parameter{.name = "value",
                         .what = "0 to 100; of set_group one for each device.",
                         .kind = Kind::kNumbers,
                         .high = kVolume.high}};

constexpr std::array kFromServerParameters = {
    Parameter{
        .name = "url", .what = "Of the server, as MediaServer.list tells it.", .isRequired = true},
    Parameter{.name = "ids",
              .what = "The songs: their ids, as MediaServer.browse tells them, 100 at most.",
              .kind = Kind::kTexts,
              .isRequired = true}};

constexpr Method kMethods[] = {
    {.name = "add_from_server",
     .make = Make<ForPlayers<AddFromServer>>,
     .changes = true,
     .asksElsewhere = true,
     .summary = "Add songs of another media server to the queue",
     .parameters = kFromServerParameters,
     .answer = "PlayerTold"},
    {.name = "control",
     .make = Make<ForPlayers<Control>>,
     .changes = true,
     .summary = "Tell the player what to do",
     .parameters = kControlParameters,
     .answer = "PlayerTold"},
    {.name = "equalizer",
     .make = Make<ForPlayers<Equalizer>>,
     .changes = true,
     .summary = "The equalizer's selected profile; or send gains to the player",
     .parameters = kEqualizerParameters,
     .answer = "EqualizerProfile|PlayerTold"},
    {.name = "info",
     .make = Make<ForPlayers<Info>>,
     .summary = "What plays, where, and what the player can do now",
     .parameters = kInfoParameters,
     .answer = "PlayerInfo"},
    {.name = "list",
     .make = Make<ForPlayers<List>>,
     .summary = "The outputs, or the media servers, that the player knows",
     .parameters = kListParameters,
     .answer = "PlayerPage"},
    {.name = "password_test",
     .make = Make<ForPlayers<PasswordTest>>,
     .changes = true,
     .asksElsewhere = true,
     .summary = "Ask an AirPlay speaker whether it takes a password",
     .parameters = kPasswordParameters,
     .answer = "SpeakerStatus"},
    {.name = "queue",
     .make = Make<ForPlayers<Queue>>,
     .changes = true,
     .summary = "The queue, which songs are added to and taken off",
     .parameters = kQueueParameters,
     .answer = "PlayerQueue|PlayerTold"},
    {.name = "volume",
     .make = Make<ForPlayers<Volume>>,
     .changes = true,
     .summary = "The volume of the player, of speakers, of the sound card",
     .parameters = kVolumeParameters,
     .answer = "PlayerVolume|SoundCard|PlayerTold"},
};

// What the player tells is passed on.
constexpr Field kTold[] = {{"added?", "number", "songs of this addition in the queue"},
                           {"skipped?", "number", "songs that the player cannot reach"},
                           {"waiting?", "number", "songs that are being added"},
                           {"given_up?", "any", "songs that are not tried any more"}};
constexpr Field kSong[] = {{"index?", "number", "in the queue, from 0"},
                           {"title?", "text"},
                           {"artist?", "text"},
                           {"album?", "text"},
                           {"duration?", "number", "seconds"},
                           {"id?", "text", "identifier, where the user has the song"}};
constexpr Field kInfo[] = {{"can", "[text]", "the actions that it can do now: docs/players.md"},
                           {"state?", "text", "play, pause or stop, as a rule"},
                           {"index?", "number", "of the song in the queue, from 0"},
                           {"position?", "number", "seconds"},
                           {"total?", "number", "songs in the queue"},
                           {"volume?", "number", "0 to 100; negative: not known"},
                           {"mode?", "number", "once, repeat, repeat-one, shuffle from 0 on"},
                           {"song?", "PlayerSong|null"},
                           {"adding?", "flag", "songs are still being added"},
                           {"given_up?", "any", "songs that could not be added"},
                           {"refresh?", "flag", "clients should ask for everything anew"},
                           {"renderer?", "Renderer"}};
constexpr Field kRenderer[] = {{"udn?", "text"}, {"name?", "text"}, {"enabled?", "flag"}};
constexpr Field kPage[] = {{"offset?", "number"},
                           {"total?", "number"},
                           {"renderers?", "[Renderer]"},
                           {"servers?", "[Renderer]"}};
constexpr Field kQueue[] = {{"offset?", "number"},
                            {"total?", "number"},
                            {"songs", "[PlayerSong]", "may be fewer than the limit"}};
constexpr Field kProfile[] = {{"name", "text|null"}, {"values", "text|null"}};
constexpr Field kStatus[] = {{"status", "=open locked right wrong busy unknown"}};
constexpr Field kPlayerVolume[] = {{"volume", "number|null"}};
constexpr Field kCard[] = {{"card", "number|null"},
                           {"mixer", "text"},
                           {"device", "text"},
                           {"volume", "number|null", "as configured"},
                           {"mixer_volume", "number|null"},
                           {"hardware_mixer", "flag"},
                           {"high_resolution", "flag"},
                           {"usb", "flag"},
                           {"bluetooth", "flag"}};
constexpr Schema kSchemas[] = {{"PlayerTold", kTold, {}, true}, {"PlayerSong", kSong, {}, true},
                               {"PlayerInfo", kInfo, {}, true}, {"Renderer", kRenderer, {}, true},
                               {"PlayerPage", kPage, {}, true}, {"PlayerQueue", kQueue, {}, true},
                               {"EqualizerProfile", kProfile},  {"SpeakerStatus", kStatus},
                               {"PlayerVolume", kPlayerVolume}, {"SoundCard", kCard}};

}  // namespace

const Api kPlayerApi{.name = "VARN.Tonvale.Player",
                     .methods = kMethods,
                     .summary =
                         "The player daemon and the sound card, for those with the right "
                         "usb: docs/players.md",
                     .schemas = kSchemas};

}  // namespace tonvale_entry
