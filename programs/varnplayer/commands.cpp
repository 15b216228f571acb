#include "commands.h"

#include <syslog.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <vector>

#include "answers.h"
#include "mpd.h"
#include "queue.h"
#include "text.h"
#include "tonvale/players.h"

namespace varnplayer {

namespace {

constexpr std::chrono::seconds kTimeForAdding{1};

using Payload = const std::string &;

// A command's work on the music player daemon; it throws Refused.
using Work = Json::Value (*)(Player &, const Mpd &, Payload);

Json::Value Nothing() {
    return Json::Value(Json::objectValue);
}

// Exactly `count` whole numbers, joined by blanks.
std::vector<int> Numbers(Payload payload, std::size_t count) {
    std::vector<int> numbers;
    const char *at = payload.data();
    const char *const end = at + payload.size();
    while (numbers.size() < count) {
        int number = 0;
        const auto [rest, error] = std::from_chars(at, end, number);
        if (error != std::errc()) {
            break;
        }
        numbers.push_back(number);
        at = rest;
        if (numbers.size() < count && at != end && *at == ' ') {
            ++at;
        }
    }
    if (numbers.size() != count || at != end) {
        throw Refused(Refused::kBad, "whole numbers are missing");
    }
    return numbers;
}

unsigned NotNegative(int number) {
    if (number < 0) {
        throw Refused(Refused::kBad, "a number is below 0");
    }
    return static_cast<unsigned>(number);
}

unsigned Number(Payload payload) {
    return NotNegative(Numbers(payload, 1)[0]);
}

Json::Value Jump(Player &, const Mpd &mpd, Payload payload) {
    mpd.Require(mpd_run_play_pos(mpd.Get(), Number(payload)));
    return Nothing();
}

Json::Value Seek(Player &, const Mpd &mpd, Payload payload) {
    mpd.Require(mpd_run_seek_current(mpd.Get(), static_cast<float>(Number(payload)), false));
    return Nothing();
}

Json::Value SetVolume(Player &, const Mpd &mpd, Payload payload) {
    const int volume = std::clamp(Numbers(payload, 1)[0], 0, 100);
    mpd.Require(mpd_run_set_volume(mpd.Get(), static_cast<unsigned>(volume)));
    return Nothing();
}

// What was found is always as new as it can be.
Json::Value AlreadyDone(Player &, const Mpd &, Payload) {
    return Nothing();
}

Json::Value ListServer(Player &, const Mpd &, Payload payload) {
    Json::Value page(Json::objectValue);
    page["offset"] = NotNegative(Numbers(payload, 2)[0]);
    page["total"] = 0;
    page["servers"] = Json::Value(Json::arrayValue);
    return page;
}

Json::Value ListRenderer(Player &, const Mpd &mpd, Payload payload) {
    const std::vector<int> page = Numbers(payload, 2);
    return OutputsAnswer(mpd, NotNegative(page[0]), NotNegative(page[1]));
}

Json::Value ListPlaylist(Player &, const Mpd &mpd, Payload payload) {
    const std::vector<int> page = Numbers(payload, 2);
    return QueueAnswer(mpd, NotNegative(page[0]), NotNegative(page[1]));
}

Json::Value WhatCanBeDone(const mpd_status *status);

Json::Value Info(Player &player, const Mpd &mpd, Payload) {
    const MpdStatus status = mpd.Status();
    Json::Value info = InfoAnswer(mpd, status.get());
    info["can"] = WhatCanBeDone(status.get());
    info["refresh"] = player.refresh;
    info["adding"] = !player.adder.IsDone();
    info["given_up"] = player.adder.GivenUp();
    return info;
}

Json::Value InfoOf(Player &player, const Mpd &mpd, const Json::Value &output) {
    if (output.isNull()) {
        throw Refused(Refused::kBad, "there is no such renderer");
    }
    Json::Value info = Info(player, mpd, "");
    info["renderer"] = output;
    return info;
}

Json::Value InfoByUdn(Player &player, const Mpd &mpd, Payload payload) {
    return InfoOf(player, mpd, OutputAnswer(mpd, payload));
}

Json::Value InfoByIndex(Player &player, const Mpd &mpd, Payload payload) {
    return InfoOf(player, mpd, OutputAnswer(mpd, Number(payload)));
}

Json::Value Pause(Player &, const Mpd &mpd, Payload) {
    mpd.Require(mpd_run_pause(mpd.Get(), true));
    return Nothing();
}

Json::Value Resume(Player &, const Mpd &mpd, Payload) {
    mpd.Require(mpd_run_play(mpd.Get()));
    return Nothing();
}

Json::Value Stop(Player &, const Mpd &mpd, Payload) {
    mpd.Require(mpd_run_stop(mpd.Get()));
    return Nothing();
}

Json::Value Next(Player &, const Mpd &mpd, Payload) {
    mpd.Require(mpd_run_next(mpd.Get()));
    return Nothing();
}

Json::Value Previous(Player &, const Mpd &mpd, Payload) {
    mpd.Require(mpd_run_previous(mpd.Get()));
    return Nothing();
}

template <auto Run>
Json::Value Switch(Player &, const Mpd &mpd, Payload udn) {
    const Json::Value output = OutputAnswer(mpd, udn);
    if (output.isNull()) {
        throw Refused(Refused::kBad, "there is no such renderer");
    }
    mpd.Require(Run(mpd.Get(), OutputNumber(output)));
    return Nothing();
}

Json::Value Delete(Player &, const Mpd &mpd, Payload payload) {
    mpd.Require(mpd_run_delete(mpd.Get(), Number(payload)));
    return Nothing();
}

Json::Value DeleteAll(Player &player, const Mpd &mpd, Payload) {
    player.adder.Forget();
    mpd.Require(mpd_run_clear(mpd.Get()));
    return Nothing();
}

// There is no such thing for a daemon that is not playing: it plays and stops before it is heard.
Json::Value SetIndex(Player &, const Mpd &mpd, Payload payload) {
    const unsigned index = Number(payload);
    const bool plays = mpd_status_get_state(mpd.Status().get()) == MPD_STATE_PLAY;
    mpd.Require(mpd_command_list_begin(mpd.Get(), false) && mpd_send_play_pos(mpd.Get(), index) &&
                (plays || mpd_send_stop(mpd.Get())) && mpd_command_list_end(mpd.Get()) &&
                mpd_response_finish(mpd.Get()));
    return Nothing();
}

Json::Value ChangeMode(Player &, const Mpd &mpd, Payload payload) {
    const unsigned mode = Number(payload);
    if (mode > static_cast<unsigned>(Mode::kShuffle)) {
        throw Refused(Refused::kBad, "there is no such mode");
    }
    SetMode(mpd, static_cast<Mode>(mode));
    return Nothing();
}

Json::Value ResetRefresh(Player &player, const Mpd &, Payload) {
    player.refresh = false;
    return Nothing();
}

Json::Value SetRefresh(Player &player, const Mpd &, Payload) {
    player.refresh = true;
    return Nothing();
}

Json::Value OutputPlaylist(Player &, const Mpd &mpd, Payload payload) {
    return WriteQueueFile(mpd, payload);
}

// What is not done in the time that a client may be kept waiting goes on behind its back.
Json::Value AddFromFile(Player &player, const Mpd &mpd, Payload payload) {
    mpd.Get();  // who cannot even begin is told so, and has nothing added
    const auto end = std::chrono::steady_clock::now() + kTimeForAdding;
    player.adder.Read(payload);
    while (!player.adder.IsDone() && std::chrono::steady_clock::now() < end &&
           player.adder.Step(mpd)) {
    }
    return player.adder.State();
}

bool HasSongs(const mpd_status *status) {
    return mpd_status_get_queue_length(status) > 0;
}

bool Plays(const mpd_status *status) {
    return mpd_status_get_state(status) == MPD_STATE_PLAY;
}

bool IsPausedOrPlays(const mpd_status *status) {
    return Plays(status) || mpd_status_get_state(status) == MPD_STATE_PAUSE;
}

bool MayGoOn(const mpd_status *status) {
    return HasSongs(status) && !Plays(status);
}

bool HasNext(const mpd_status *status) {
    return IsPausedOrPlays(status) && mpd_status_get_next_song_pos(status) >= 0;
}

// A station has no length.
bool HasLength(const mpd_status *status) {
    return IsPausedOrPlays(status) && mpd_status_get_total_time(status) > 0;
}

bool HasVolume(const mpd_status *status) {
    return mpd_status_get_volume(status) >= 0;
}

bool Always(const mpd_status *) {
    return true;
}

struct Entry {
    VARN_AUDIO_COMMAND command;
    Work work;
    const char *name = nullptr;                        // in `can` of PlayerInfo
    bool (*isPossible)(const mpd_status *) = nullptr;  // now
};

// Groups of devices and the equalizer are not among what the music player daemon does.
constexpr Entry kCommands[] = {
    {VARN_AUDIO_JUMP, Jump, "play", HasSongs},
    {VARN_AUDIO_SEEK, Seek, "seek", HasLength},
    {VARN_AUDIO_SET_VOLUME, SetVolume, "volume", HasVolume},
    {VARN_AUDIO_SEARCH_SERVER, AlreadyDone},
    {VARN_AUDIO_SEARCH_RENDERER, AlreadyDone},
    {VARN_AUDIO_LIST_SERVER, ListServer},
    {VARN_AUDIO_LIST_RENDERER, ListRenderer},
    {VARN_AUDIO_PLAYER_INFO, Info},
    {VARN_AUDIO_DELETE, Delete, "delete", HasSongs},
    {VARN_AUDIO_DELETE_ALL, DeleteAll, "clear", Always},
    {VARN_AUDIO_SET_INDEX, SetIndex, "select", HasSongs},
    {VARN_AUDIO_SET_MODE, ChangeMode, "mode", Always},
    {VARN_AUDIO_LIST_PLAYLIST, ListPlaylist},
    {VARN_AUDIO_RESET_REFRESH, ResetRefresh},
    {VARN_AUDIO_SET_REFRESH, SetRefresh},
    {VARN_AUDIO_OUTPUT_PLAYLIST, OutputPlaylist},
    {VARN_AUDIO_ADD_FROM_FILE, AddFromFile, "add", Always},
    {VARN_AUDIO_PLAYER_INFO_BY_UDN, InfoByUdn},
    {VARN_AUDIO_PLAYER_INFO_BY_INDEX, InfoByIndex},
    {VARN_AUDIO_PAUSE, Pause, "pause", Plays},
    {VARN_AUDIO_RESUME, Resume, "resume", MayGoOn},
    {VARN_AUDIO_STOP, Stop, "stop", IsPausedOrPlays},
    {VARN_AUDIO_NEXT, Next, "next", HasNext},
    {VARN_AUDIO_PREVIOUS, Previous, "previous", IsPausedOrPlays},
    {VARN_AUDIO_ENABLE_RENDERER, Switch<mpd_run_enable_output>, "enable", Always},
    {VARN_AUDIO_DISABLE_RENDERER, Switch<mpd_run_disable_output>, "disable", Always},
};

Json::Value WhatCanBeDone(const mpd_status *status) {
    Json::Value names(Json::arrayValue);
    for (const Entry &entry : kCommands) {
        if (entry.name != nullptr && entry.isPossible(status)) {
            names.append(entry.name);
        }
    }
    return names;
}

Json::Value Do(Player &player, int32_t command, Payload payload) {
    const auto *entry = std::find_if(std::begin(kCommands), std::end(kCommands),
                                     [&](const Entry &one) { return one.command == command; });
    if (entry == std::end(kCommands)) {
        throw Refused(Refused::kBad,
                      "this player does not know the command " + std::to_string(command));
    }
    const Mpd mpd(player.mpdAddress);
    return entry->work(player, mpd, payload);
}

}  // namespace

std::string Execute(Player &player, int32_t command, const std::string &payload) {
    Json::Value answer;
    try {
        answer = Do(player, command, payload);
        answer["success"] = true;
    } catch (const Refused &refused) {
        syslog(LOG_NOTICE, "command %d: %s", command, refused.what());
        answer = Nothing();
        answer["success"] = false;
        answer["error"] = Utf8(refused.what());
        answer["reason"] = refused.IsBad() ? "bad" : "failed";
    }
    return JsonText(answer) + "\n";
}

}  // namespace varnplayer
