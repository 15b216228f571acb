// Commands that change the player's queue.
#include "ctrl/command.h"
#include "ctrl/source.h"
#include "support/boundary.h"
#include "support/log.h"
#include "tonvale/players.h"

namespace {

using namespace Tonvale::ctrl;
using Tonvale::support::Guarded;

int SendFile(VARN_AUDIO_COMMAND command, const char *path) noexcept {
    if (path == nullptr) {
        // The name under which every call logs a missing text or buffer.
        LOG_ERROR(kInfo, "Bad parameters");
        return -1;
    }
    return Guarded(kPlaylist, -1, [&] { return Send(command, path); });
}

}  // namespace

int VARNAudioDelete(int index) noexcept {
    if (index < 0) {
        LOG_ERROR(kPlaylist, "Bad parameter");
        return -1;
    }
    return Guarded(kPlaylist, -1, [&] { return SendNumber(VARN_AUDIO_DELETE, index); });
}

int VARNAudioDeleteAll(void) noexcept {
    return Guarded(kPlaylist, -1, [] { return Send(VARN_AUDIO_DELETE_ALL); });
}

int VARNAudioSetIndex(int index) noexcept {
    return Guarded(kPlaylist, -1, [&] { return SendNumber(VARN_AUDIO_SET_INDEX, index); });
}

int VARNAudioOutputPlaylist(const char *path) noexcept {
    return SendFile(VARN_AUDIO_OUTPUT_PLAYLIST, path);
}

int VARNAudioAddFromFile(const char *path) noexcept {
    return SendFile(VARN_AUDIO_ADD_FROM_FILE, path);
}
