#include "service/devices/player.h"

#include <fcntl.h>
#include <json/reader.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <utility>

#include "service/base/failure.h"
#include "service/lists/tables.h"
#include "service/songs/songs.h"
#include "tonvale/playlists.h"
#include "varn/number.h"
#include "varn/packageconf.h"
#include "varn/player.h"
#include "varn/sql.h"
#include "varn/systempath.h"

namespace tonvale_service {

namespace {

constexpr std::size_t kAnswerSize = 1 << 20;
constexpr std::size_t kMostVolumes = 64;
constexpr int kMostVolume = 100;
constexpr std::size_t kLongestRenderer = 1000;
constexpr double kMostGain = 24;
constexpr char kQueueFiles[] = "/queue.XXXXXX";  // in the package's spool

constexpr PlayerCommand kCommands[] = {
    {"airplay-refresh", VARN_AUDIO_MULTI_AIRPLAY_REFRESH, Takes::kNothing,
     "Have the AirPlay speakers that play together read again"},
    {"bluetooth-refresh", VARN_AUDIO_MULTI_BLUETOOTH_REFRESH, Takes::kNothing,
     "Have the Bluetooth speakers that play together read again"},
    {"clear", VARN_AUDIO_DELETE_ALL, Takes::kNothing, "Empty the queue"},
    {"delete", VARN_AUDIO_DELETE, Takes::kNumber, "Take song N off the queue"},
    {"disable", VARN_AUDIO_DISABLE_RENDERER, Takes::kRenderer, "Play no more on a renderer"},
    {"enable", VARN_AUDIO_ENABLE_RENDERER, Takes::kRenderer, "Play on a renderer, too"},
    {"group-volumes", VARN_AUDIO_SET_MULTIPLE_VOLUMES, Takes::kVolumes,
     "Set the volume of each speaker that plays together"},
    {"log-level-refresh", VARN_AUDIO_REFRESH_LOG_LEVEL, Takes::kNothing,
     "Have the player read again how much it is to log"},
    {"mode", VARN_AUDIO_SET_MODE, Takes::kMode, "Set the way of playing"},
    {"next", VARN_AUDIO_NEXT, Takes::kNothing, "Play the song that comes next"},
    {"pause", VARN_AUDIO_PAUSE, Takes::kNothing, "Pause"},
    {"play", VARN_AUDIO_JUMP, Takes::kNumber, "Play song N of the queue, from 0"},
    {"previous", VARN_AUDIO_PREVIOUS, Takes::kNothing, "Play the song that came before"},
    {"refresh", VARN_AUDIO_SET_REFRESH, Takes::kNothing,
     "Set the mark that tells clients to ask anew"},
    {"refresh-done", VARN_AUDIO_RESET_REFRESH, Takes::kNothing, "Take that mark away"},
    {"resume", VARN_AUDIO_RESUME, Takes::kNothing, "Play on, or begin with the current song"},
    {"search-renderers", VARN_AUDIO_SEARCH_RENDERER, Takes::kNothing,
     "Have renderers searched for"},
    {"search-servers", VARN_AUDIO_SEARCH_SERVER, Takes::kNothing,
     "Have media servers searched for"},
    {"seek", VARN_AUDIO_SEEK, Takes::kNumber, "Go to second N of the song"},
    {"select", VARN_AUDIO_SET_INDEX, Takes::kNumber, "Make song N the current one"},
    {"stop", VARN_AUDIO_STOP, Takes::kNothing, "Stop"},
    {"volume", VARN_AUDIO_SET_VOLUME, Takes::kVolume, "Set the volume, 0-100"},
};

// The commands that every player knows, for players that do not tell theirs.
constexpr const char *kAlways[] = {"add",  "clear", "delete", "mode",
                                   "play", "seek",  "select", "volume"};

// A call that has the daemon's answer put into a buffer.
using Question = std::function<int(char *, int)>;

[[noreturn]] void FailToAsk(int error) {
    switch (error) {
        case ENOENT:
        case ECONNREFUSED:
            throw Failure(Reason::kPlayerAway);
        case EACCES:
        case EPERM:
            throw Failure(Reason::kPlayerNotPermitted);
        case ETIMEDOUT:
            throw Failure(Reason::kPlayerSilent);
        default:
            throw Failure(Reason::kPlayerNotAsked, "", error);
    }
}

bool Parse(const char *text, const char *end, Json::Value &answer) {
    try {
        const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
        return reader->parse(text, end, &answer, nullptr) && answer.isObject();
    } catch (const Json::Exception &) {
        return false;  // nested too deeply
    }
}

// The answer's object. `renderer` is the one that is asked for, "" for none.
Json::Value Ask(const Question &question, const std::string &renderer = "") {
    std::string out(kAnswerSize, '\0');
    errno = 0;
    const int length = question(out.data(), static_cast<int>(out.size()));
    if (length < 0) {
        FailToAsk(errno);
    }
    if (static_cast<std::size_t>(length) == out.size() - 1) {
        throw Failure(Reason::kPlayerAnswerTooLong);
    }
    Json::Value answer;
    if (!Parse(out.data(), out.data() + length, answer)) {
        throw Failure(Reason::kPlayerAnswerMalformed);
    }
    const Json::Value &told = answer;  // const, so that asking adds no member
    const Json::Value &success = told["success"];
    const Json::Value &why = told["error"];
    if ((success.isBool() && !success.asBool()) || why.isString()) {
        const bool isBad = told["reason"] == "bad";
        if (isBad && !renderer.empty()) {
            throw Failure(Reason::kNoSuchRenderer, renderer);
        }
        throw Failure(isBad ? Reason::kPlayerRefusesValue : Reason::kPlayerRefuses,
                      why.isString() ? why.asString() : "?");
    }
    answer.removeMember("success");
    return answer;
}

Json::Value Send(VARN_AUDIO_COMMAND command, const std::string &payload,
                 const std::string &renderer = "") {
    VARN_AUDIO_CTRL_MSG message = {};
    message.command = command;
    if (payload.size() >= sizeof message.payload) {
        throw Failure(Reason::kTooLongForPlayer);
    }
    payload.copy(message.payload, payload.size());
    return Ask([&](char *out, int size) { return VARNAudioCtrlSend(&message, out, size); },
               renderer);
}

int WholeNumber(const std::string &text, int most) {
    int number = 0;
    const char *const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end || number < 0 || number > most) {
        throw Failure(most == kMostVolume ? Reason::kNotAVolume : Reason::kNotANumber, text);
    }
    return number;
}

// A number that is too large is no renderer's.
int RendererNumber(const std::string &digits) {
    int number = 0;
    const char *const end = digits.data() + digits.size();
    if (std::from_chars(digits.data(), end, number).ec != std::errc()) {
        throw Failure(Reason::kNoSuchRenderer, digits);
    }
    return number;
}

std::string ModeNumber(const std::string &mode) {
    const auto &modes = PlayerModes();
    const auto found = std::find(modes.begin(), modes.end(), mode);
    if (found == modes.end()) {
        throw Failure(Reason::kUnknownPlayMode, mode);
    }
    return std::to_string(found - modes.begin());
}

const std::string &Renderer(const std::string &name) {
    if (name.empty() || name.size() > kLongestRenderer) {
        throw Failure(Reason::kNoSuchRenderer, name);
    }
    return name;
}

std::string PayloadOf(Takes takes, const std::vector<std::string> &values) {
    const std::size_t most = takes == Takes::kNothing   ? 0
                             : takes == Takes::kVolumes ? kMostVolumes
                                                        : 1;
    if (values.size() > most || (most > 0 && values.empty())) {
        throw Failure(values.empty() ? Reason::kValueMissing : Reason::kTooManyValues);
    }
    if (takes == Takes::kMode) {
        return ModeNumber(values[0]);
    }
    if (takes == Takes::kRenderer) {
        return Renderer(values[0]);
    }
    std::string payload;
    for (const std::string &value : values) {
        const int number = WholeNumber(value, takes == Takes::kNumber ? INT_MAX : kMostVolume);
        payload += (payload.empty() ? "" : ",") + std::to_string(number);
    }
    return payload;
}

Json::Value SendPath(VARN_AUDIO_COMMAND command, const std::string &path) {
    if (!path.starts_with('/')) {
        throw Failure(Reason::kNotAnAbsolutePath, path);
    }
    return Send(command, path);
}

// A queue file that is gone with the object.
class TemporaryQueue {
  public:
    TemporaryQueue() : path_(SystemPath(varn::path::kSpoolDir) + kQueueFiles) {
        const int fd = mkostemp(path_.data(), O_CLOEXEC);
        if (fd < 0) {
            throw Failure(Reason::kFileNotWritten, path_, errno);
        }
        close(fd);
    }
    ~TemporaryQueue() { unlink(path_.c_str()); }
    TemporaryQueue(const TemporaryQueue &) = delete;
    TemporaryQueue &operator=(const TemporaryQueue &) = delete;
    const std::string &Path() const { return path_; }

  private:
    std::string path_;
};

// One gain as the protocol has it, with one decimal.
std::string Gain(const std::string &text) {
    double gain = 0;
    const char *const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, gain);
    if (error != std::errc() || rest != end || !(gain >= -kMostGain && gain <= kMostGain)) {
        throw Failure(Reason::kNotAGain, text);
    }
    std::array<char, 16> digits;
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), gain,
                                       std::chars_format::fixed, 1);
    return {digits.data(), written.ptr};
}

// Numbers that blanks or commas part.
std::vector<std::string> Words(const std::string &text) {
    constexpr char kBetween[] = " \t,;";
    std::vector<std::string> words;
    for (std::size_t at = 0; (at = text.find_first_not_of(kBetween, at)) != text.npos;) {
        const std::size_t end = std::min(text.find_first_of(kBetween, at), text.size());
        words.push_back(text.substr(at, end - at));
        at = end;
    }
    return words;
}

Json::Value InfoOf(const std::string &renderer) {
    if (renderer.empty()) {
        return Ask(VARNAudioPlayerInfo);
    }
    Renderer(renderer);
    if (varn::IsNumber(renderer)) {
        const int index = RendererNumber(renderer);
        return Ask(
            [&](char *out, int size) { return VARNAudioPlayerInfoByIndex(index, out, size); },
            renderer);
    }
    return Ask(
        [&](char *out, int size) { return VARNAudioPlayerInfoByUDN(renderer.c_str(), out, size); },
        renderer);
}

constexpr int kWholeFile = -1;

// Where a song of a queue lies: its path, and the second where it begins as a part of its file.
std::pair<std::string, int> PlaceOf(const Json::Value &song) {
    if (!song.isObject() || !song["path"].isString()) {
        return {"", kWholeFile};
    }
    return {song["path"].asString(), song["start"].isInt() ? song["start"].asInt() : kWholeFile};
}

}  // namespace

void Identify(uid_t uid, Json::Value &songs) {
    std::string paths;
    for (const Json::Value &song : songs) {
        const std::string path = PlaceOf(song).first;
        if (const auto quoted = varn::Sql("'@VARN:VAR'", path); quoted && !path.empty()) {
            paths += (paths.empty() ? "" : ",") + *quoted;
        }
    }
    if (paths.empty()) {
        return;
    }
    std::map<std::pair<std::string, int>, std::string> ids;
    for (const varn::Row row :
         AskTables(varn::Sql("SELECT id, is_virtual::integer AS is_virtual, userid, path, "
                             "coalesce(audio_offset, @VARN:INT) AS start FROM track "
                             "LEFT JOIN virtual_info_track v ON v.track = id "
                             "WHERE userid IN (0, @VARN:INT) AND path IN (@VARN:NEVAR)",
                             kWholeFile, static_cast<int>(uid), paths))) {
        ids[{row.Text("path"), static_cast<int>(row.Number("start"))}] =
            SongIdText(SongIn(row), row.Number("userid") != 0);
    }
    for (Json::Value &song : songs) {
        if (const auto found = ids.find(PlaceOf(song)); found != ids.end()) {
            song["id"] = found->second;
        }
    }
}

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

Json::Value PlayerInfo(const std::string &renderer) {
    Json::Value info = InfoOf(renderer);
    if (!info["can"].isArray()) {
        info["can"] = Json::Value(Json::arrayValue);
        for (const char *name : kAlways) {
            info["can"].append(name);
        }
    }
    return info;
}

Json::Value PlayerQueue(int offset, int limit) {
    return Ask(
        [&](char *out, int size) { return VARNAudioListPlaylist(offset, limit, out, size); });
}

Json::Value PlayerRenderers(int offset, int limit) {
    return Ask(
        [&](char *out, int size) { return VARNAudioListRenderer(offset, limit, out, size); });
}

Json::Value PlayerServers(int offset, int limit) {
    return Ask([&](char *out, int size) { return VARNAudioListServer(offset, limit, out, size); });
}

std::span<const PlayerCommand> PlayerCommands() {
    return kCommands;
}

const PlayerCommand *FindPlayerCommand(std::string_view name) {
    const auto *found =
        std::find_if(std::begin(kCommands), std::end(kCommands),
                     [&](const PlayerCommand &command) { return command.name == name; });
    return found != std::end(kCommands) ? found : nullptr;
}

const std::vector<std::string> &PlayerModes() {
    static const std::vector<std::string> modes = {"once", "repeat", "repeat-one", "shuffle"};
    return modes;
}

Json::Value TellPlayer(const PlayerCommand &command, const std::vector<std::string> &values) {
    const std::string payload = PayloadOf(command.takes, values);
    return Send(command.command, payload, command.takes == Takes::kRenderer ? payload : "");
}

Json::Value AddQueueFile(const std::string &path) {
    return SendPath(VARN_AUDIO_ADD_FROM_FILE, path);
}

Json::Value SaveQueueFile(const std::string &path) {
    return SendPath(VARN_AUDIO_OUTPUT_PLAYLIST, path);
}

Json::Value AddSongs(const std::vector<VARN_MEDIA_INFO> &songs) {
    PlaylistInfo queue;
    for (const VARN_MEDIA_INFO &song : songs) {
        queue.addSong(song);
    }
    const TemporaryQueue file;
    if (AudioFile::PlaylistFileSave(file.Path().c_str(), &queue) != 0) {
        throw Failure(Reason::kFileNotWritten, file.Path());
    }
    return AddQueueFile(file.Path());
}

Json::Value SelectedEqualizer() {
    std::array<char, 1024> name{};
    std::array<char, 1024> values{};
    const int found = VARNAudioGetEqualizer(values.data(), values.size());
    if (found < 0) {
        throw Failure(Reason::kEqualizerNotRead);
    }
    Json::Value selected(Json::objectValue);
    selected["name"] = Json::Value();
    selected["values"] = Json::Value();
    if (found > 0 && VARNAudioConfGet("audio_default_equalizer", name.data(), name.size()) > 0) {
        selected["name"] = name.data();
        selected["values"] = values.data();
    }
    return selected;
}

Json::Value SendEqualizer(std::vector<std::string> gains) {
    if (gains.empty()) {
        const Json::Value selected = SelectedEqualizer();
        if (!selected["values"].isString()) {
            throw Failure(Reason::kNoEqualizerSelected);
        }
        gains = Words(selected["values"].asString());
    }
    if (gains.size() != VARN_AUDIO_BANDS) {
        throw Failure(Reason::kNotTenGains);
    }
    std::string payload;
    for (const std::string &gain : gains) {
        payload += (payload.empty() ? "" : " ") + Gain(gain);
    }
    return Send(VARN_AUDIO_SET_EQUALIZER, payload);
}

}  // namespace tonvale_service
