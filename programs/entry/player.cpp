// VARN.Tonvale.Player: the player daemon, the machine's sound card, and speakers' passwords.
#include "service/player.h"

#include <algorithm>
#include <climits>

#include "action.h"
#include "service/songs.h"
#include "service/sound_card.h"
#include "service/speaker.h"
#include "speaker_address.h"
#include "tonvale/settings.h"

namespace tonvale_entry {

namespace {

using namespace tonvale_service;

constexpr long long kMostEntries = 500;
constexpr long long kUsualEntries = 100;

// What is played comes out of the server's own outputs, whoever it belongs to: all of this is for
// those who may play there.
class PlayerAction : public Action {
  public:
    using Action::Action;

  protected:
    Json::Value Data() final {
        Asked().Require(RIGHT_USB);
        return Do();
    }
    virtual Json::Value Do() = 0;

    // The page that is asked for, of whatever `list` gives.
    Json::Value Page(Json::Value (*list)(int, int)) const {
        return list(static_cast<int>(Asked().Number("offset", 0, 0, INT_MAX)),
                    static_cast<int>(Asked().Number("limit", kUsualEntries, 1, kMostEntries)));
    }

    // Does the command with the values that come with the request.
    Json::Value Tell(std::string_view name) const {
        const PlayerCommand *command = FindPlayerCommand(name);
        if (command == nullptr) {
            throw Refusal{Code::kBadParameter};
        }
        const bool isGiven = !Asked().Text("value").empty();
        return TellPlayer(*command, isGiven ? Asked().Values("value") : std::vector<std::string>());
    }
};

// A song as everybody may see it who may use the player: of somebody's own music, too, the title,
// but not where it lies.
void HidePath(Json::Value &song) {
    Json::Value path;
    if (!song.isObject() || !song.removeMember("path", &path) || !path.isString()) {
        return;
    }
    if (!song["title"].isString() || song["title"] == "") {
        const std::string text = path.asString();
        song["title"] = text.substr(text.rfind('/') + 1);
    }
}

class List : public PlayerAction {
  public:
    using PlayerAction::PlayerAction;

  protected:
    Json::Value Do() override {
        const std::string what = Asked().Choice("action", {"renderers", "servers"}, "renderers");
        return Page(what == "servers" ? PlayerServers : PlayerRenderers);
    }
};

class Info : public PlayerAction {
  public:
    using PlayerAction::PlayerAction;

  protected:
    Json::Value Do() override {
        Json::Value info = PlayerInfo(Asked().Text("renderer"));
        if (info.isMember("song")) {
            HidePath(info["song"]);
        }
        return info;
    }
};

class Control : public PlayerAction {
  public:
    using PlayerAction::PlayerAction;

  protected:
    Json::Value Do() override {
        std::string name = Asked().RequiredText("action");
        std::replace(name.begin(), name.end(), '_', '-');
        return Tell(name);
    }
};

class Volume : public PlayerAction {
  public:
    using PlayerAction::PlayerAction;

  protected:
    Json::Value Do() override {
        const std::string action =
            Asked().Choice("action", {"get", "set", "set_group", "card", "set_card"}, "get");
        if (action == "set" || action == "set_group") {
            return Tell(action == "set" ? "volume" : "group-volumes");
        }
        if (action == "set_card") {
            Asked().RequiredText("value");
            return SetCardVolume(static_cast<int>(Asked().Number("value", 0, 0, 100)));
        }
        if (action == "card") {
            return SoundCard();
        }
        Json::Value data(Json::objectValue);
        const Json::Value info = PlayerInfo("");
        data["volume"] = info["volume"];
        return data;
    }
};

class Queue : public PlayerAction {
  public:
    using PlayerAction::PlayerAction;

  protected:
    Json::Value Do() override {
        const std::string action =
            Asked().Choice("action", {"list", "add", "delete", "clear"}, "list");
        if (action == "add") {
            return AddSongs(Songs());
        }
        if (action != "list") {
            return Tell(action);
        }
        Json::Value page = Page(PlayerQueue);
        if (page.isMember("songs")) {
            for (Json::Value &song : page["songs"]) {
                HidePath(song);
            }
        }
        return page;
    }

  private:
    // Songs of the library alone, each of which the user may hear: no path, no address.
    std::vector<VARN_MEDIA_INFO> Songs() const {
        const std::vector<std::string> ids = Asked().Values("songs");
        const auto found = ReadSongs(Asked().User().GetLoginUID(), ids);
        std::vector<VARN_MEDIA_INFO> songs;
        for (const std::string &id : ids) {
            const auto song = found.find(ParseSongId(id).value());
            if (song == found.end()) {
                throw Refusal{Code::kNoSuchItem};
            }
            songs.push_back(song->second);
        }
        return songs;
    }
};

class Equalizer : public PlayerAction {
  public:
    using PlayerAction::PlayerAction;

  protected:
    Json::Value Do() override {
        if (Asked().Choice("action", {"get", "send"}, "get") == "get") {
            return SelectedEqualizer();
        }
        const bool isGiven = !Asked().Text("value").empty();
        return SendEqualizer(isGiven ? Asked().Values("value") : std::vector<std::string>());
    }
};

class PasswordTest : public PlayerAction {
  public:
    using PlayerAction::PlayerAction;

  protected:
    Json::Value Do() override {
        constexpr const char *kNames[] = {"open", "locked", "right", "wrong", "busy", "unknown"};
        const auto speaker = ParseSpeakerAddress(Asked().RequiredText("renderer"));
        if (!speaker) {
            throw Refusal{Code::kBadParameter};
        }
        if (!IsPermittedSpeaker(*speaker)) {
            throw Refusal{Code::kNotPermitted};
        }
        const SpeakerStatus status =
            AskSpeaker(speaker->host, speaker->port, Asked().Given("value"));
        Json::Value data(Json::objectValue);
        data["status"] = kNames[static_cast<int>(status)];
        return data;
    }
};

constexpr Method kMethods[] = {
    {"control", Make<Control>, kChanges},
    {"equalizer", Make<Equalizer>, kChanges},
    {"info", Make<Info>},
    {"list", Make<List>},
    {"password_test", Make<PasswordTest>, kChanges},
    {"queue", Make<Queue>, kChanges},
    {"volume", Make<Volume>, kChanges},
};

}  // namespace

const Api kPlayerApi{"VARN.Tonvale.Player", kMethods};

}  // namespace tonvale_entry
