// Commands that ask, and what can be played.
#include <algorithm>
#include <array>
#include <cctype>
#include <string>
#include <string_view>

#include "ctrl/command.h"
#include "ctrl/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/players.h"
#include "varn/packageconf.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace {

using namespace Tonvale::ctrl;
using Tonvale::support::Guarded;
using namespace std::string_view_literals;

bool IsGood(const Answer &answer) {
    if (answer.out != nullptr && answer.size > 0) {
        return true;
    }
    LOG_ERROR(kInfo, "Bad parameters");
    return false;
}

int AskPage(VARN_AUDIO_COMMAND command, int offset, int limit, Answer answer) noexcept {
    return Guarded(kInfo, -1,
                   [&] { return IsGood(answer) ? SendPage(command, offset, limit, answer) : -1; });
}

// ---- formats -----------------------------------------------------------------------------------

constexpr int kPlaysEverything = 0;

constexpr std::array kFullList = {"mp3"sv, "m4a"sv, "ogg"sv, "aac"sv, "wma"sv, "flac"sv, "aiff"sv,
                                  "aif"sv, "mp1"sv, "mp2"sv, "mpa"sv, "wav"sv, "ra"sv,   "ram"sv,
                                  "m4p"sv, "m4b"sv, "ape"sv, "dsf"sv, "dff"sv};
constexpr std::array kList2 = {"mp3"sv, "m4a"sv, "m4b"sv};
constexpr std::array kList3 = {"aac"sv, "aif"sv, "aiff"sv, "ape"sv, "flac"sv, "m4a"sv, "m4b"sv,
                               "mp3"sv, "ogg"sv, "wav"sv,  "wma"sv, "dsf"sv,  "dff"sv};

bool IsListed(int type, std::string_view extension) {
    const auto has = [&](const auto &list) {
        return std::find(list.begin(), list.end(), extension) != list.end();
    };
    switch (type) {
        case 2:
            return has(kList2);
        case 3:
            return has(kList3);
        default:
            return has(kFullList);
    }
}

bool IsSupported(int type, const char *path) {
    if (type == kPlaysEverything) {
        return true;
    }
    const std::string_view name(path != nullptr ? path : "");
    if (name.starts_with("http")) {
        return true;
    }
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos) {
        return false;
    }
    std::string extension(name.substr(dot + 1));
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; });
    if ((extension == "dsf" || extension == "dff") &&
        !VARNAudioDefaultConfCheck("support_dsd_decode", "yes", 0)) {
        return false;
    }
    return IsListed(type, extension);
}

int HasHardware(const char *option) noexcept {
    return Guarded(kInfo, 0, [&] {
        const std::string program = SystemPath(varn::path::kCheckSupport);
        return VLIBCExec(program.c_str(), option, nullptr) == 1 ? 1 : 0;
    });
}

}  // namespace

int VARNAudioListServer(int offset, int limit, char *out, int size) noexcept {
    return AskPage(VARN_AUDIO_LIST_SERVER, offset, limit, {out, size});
}

int VARNAudioListRenderer(int offset, int limit, char *out, int size) noexcept {
    return AskPage(VARN_AUDIO_LIST_RENDERER, offset, limit, {out, size});
}

int VARNAudioListPlaylist(int offset, int limit, char *out, int size) noexcept {
    return AskPage(VARN_AUDIO_LIST_PLAYLIST, offset, limit, {out, size});
}

int VARNAudioPlayerInfo(char *out, int size) noexcept {
    const Answer answer = {out, size};
    return Guarded(kInfo, -1,
                   [&] { return IsGood(answer) ? Send(VARN_AUDIO_PLAYER_INFO, "", answer) : -1; });
}

int VARNAudioPlayerInfoByUDN(const char *udn, char *out, int size) noexcept {
    // A null name is refused like a null buffer, with one line in the log.
    const Answer answer = {udn != nullptr ? out : nullptr, size};
    return Guarded(kInfo, -1, [&] {
        return IsGood(answer) ? Send(VARN_AUDIO_PLAYER_INFO_BY_UDN, udn, answer) : -1;
    });
}

int VARNAudioPlayerInfoByIndex(int index, char *out, int size) noexcept {
    const Answer answer = {out, size};
    return Guarded(kInfo, -1, [&] {
        return IsGood(answer) ? SendNumber(VARN_AUDIO_PLAYER_INFO_BY_INDEX, index, answer) : -1;
    });
}

int VARNAudioIsSupportUSB(void) noexcept {
    return HasHardware("--support-usb");
}

int VARNAudioIsSupportBlueTooth(void) noexcept {
    return HasHardware("--support-bluetooth");
}

int VARNAudioIsSupportFormat(int rendererType, const char *path) noexcept {
    return Guarded(kInfo, 0, [&] { return IsSupported(rendererType, path) ? 1 : 0; });
}
