#include "answers.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "text.h"

namespace varnplayer {

namespace {

constexpr unsigned kLargestPage = 500;
constexpr std::size_t kLongestPage = 512 << 10;  // bytes of JSON
constexpr std::array kStateNames = {"unknown", "stop", "play", "pause"};

constexpr std::string_view kOutput = "output:";  // in a udn, before the output's number

struct ModeFlags {
    bool random, repeat, single;
};
constexpr std::array<ModeFlags, 4> kModes = {
    {{false, false, false}, {false, true, false}, {false, true, true}, {true, true, false}}};

const char *StateName(mpd_state state) {
    const auto index = static_cast<std::size_t>(state);
    return kStateNames[index < kStateNames.size() ? index : 0];
}

Json::Value SongObject(const mpd_song *song) {
    const auto tag = [&](mpd_tag_type type) {
        const char *text = mpd_song_get_tag(song, type, 0);
        return Json::Value(Utf8(text != nullptr ? text : ""));
    };
    Json::Value object(Json::objectValue);
    object["index"] = mpd_song_get_pos(song);
    object["path"] = Utf8(mpd_song_get_uri(song));
    object["title"] = tag(MPD_TAG_TITLE);
    object["artist"] = tag(MPD_TAG_ARTIST);
    object["album"] = tag(MPD_TAG_ALBUM);
    object["duration"] = mpd_song_get_duration(song);
    if (mpd_song_get_start(song) != 0 || mpd_song_get_end(song) != 0) {
        object["start"] = mpd_song_get_start(song);
    }
    return object;
}

Json::Value OutputObject(const mpd_output *output) {
    Json::Value object(Json::objectValue);
    object["udn"] = std::string(kOutput) + std::to_string(mpd_output_get_id(output));
    object["name"] = Utf8(mpd_output_get_name(output));
    object["enabled"] = mpd_output_get_enabled(output);
    return object;
}

std::vector<Json::Value> Outputs(const Mpd &mpd) {
    mpd.Require(mpd_send_outputs(mpd.Get()));
    std::vector<Json::Value> objects;
    for (MpdOutput output(mpd_recv_output(mpd.Get())); output;
         output.reset(mpd_recv_output(mpd.Get()))) {
        objects.push_back(OutputObject(output.get()));
    }
    mpd.Require(mpd_response_finish(mpd.Get()));
    return objects;
}

Json::Value PageHead(unsigned offset, std::size_t total) {
    Json::Value page(Json::objectValue);
    page["offset"] = offset;
    page["total"] = static_cast<Json::UInt64>(total);
    return page;
}

}  // namespace

Mode ModeOf(const mpd_status *status) {
    if (mpd_status_get_random(status)) {
        return Mode::kShuffle;
    }
    if (!mpd_status_get_repeat(status)) {
        return Mode::kOnce;
    }
    return mpd_status_get_single(status) ? Mode::kRepeatOne : Mode::kRepeat;
}

void SetMode(const Mpd &mpd, Mode mode) {
    const ModeFlags &flags = kModes[static_cast<std::size_t>(mode)];
    mpd.Require(
        mpd_command_list_begin(mpd.Get(), false) && mpd_send_random(mpd.Get(), flags.random) &&
        mpd_send_repeat(mpd.Get(), flags.repeat) && mpd_send_single(mpd.Get(), flags.single) &&
        mpd_command_list_end(mpd.Get()) && mpd_response_finish(mpd.Get()));
}

Json::Value InfoAnswer(const Mpd &mpd, const mpd_status *status) {
    Json::Value info(Json::objectValue);
    info["state"] = StateName(mpd_status_get_state(status));
    info["volume"] = mpd_status_get_volume(status);
    info["mode"] = static_cast<int>(ModeOf(status));
    info["index"] = mpd_status_get_song_pos(status);
    info["position"] = mpd_status_get_elapsed_ms(status) / 1000;
    info["total"] = mpd_status_get_queue_length(status);
    const MpdSong song(mpd_run_current_song(mpd.Get()));
    mpd.Require(song != nullptr || mpd_connection_get_error(mpd.Get()) == MPD_ERROR_SUCCESS);
    info["song"] = song ? SongObject(song.get()) : Json::Value();
    return info;
}

Json::Value QueueAnswer(const Mpd &mpd, unsigned offset, unsigned limit) {
    const unsigned total = mpd_status_get_queue_length(mpd.Status().get());
    Json::Value page = PageHead(offset, total);
    page["songs"] = Json::Value(Json::arrayValue);
    const unsigned count = std::min({limit, kLargestPage, total - std::min(offset, total)});
    if (count == 0) {
        return page;
    }
    mpd.Require(mpd_send_list_queue_range_meta(mpd.Get(), offset, offset + count));
    std::size_t text = 0;
    for (MpdSong song(mpd_recv_song(mpd.Get())); song; song.reset(mpd_recv_song(mpd.Get()))) {
        const Json::Value object = SongObject(song.get());
        text += JsonText(object).size();
        if (text > kLongestPage) {
            break;  // the rest is passed over
        }
        page["songs"].append(object);
    }
    mpd.Require(mpd_response_finish(mpd.Get()));
    return page;
}

Json::Value OutputsAnswer(const Mpd &mpd, unsigned offset, unsigned limit) {
    const std::vector<Json::Value> outputs = Outputs(mpd);
    Json::Value page = PageHead(offset, outputs.size());
    page["renderers"] = Json::Value(Json::arrayValue);
    for (std::size_t i = offset; i < outputs.size() && i - offset < limit; ++i) {
        page["renderers"].append(outputs[i]);
    }
    return page;
}

Json::Value OutputAnswer(const Mpd &mpd, unsigned index) {
    const std::vector<Json::Value> outputs = Outputs(mpd);
    return index < outputs.size() ? outputs[index] : Json::Value();
}

Json::Value OutputAnswer(const Mpd &mpd, const std::string &udn) {
    for (const Json::Value &output : Outputs(mpd)) {
        if (output["udn"].asString() == udn) {
            return output;
        }
    }
    return {};
}

unsigned OutputNumber(const Json::Value &output) {
    return static_cast<unsigned>(std::stoul(output["udn"].asString().substr(kOutput.size())));
}

}  // namespace varnplayer
