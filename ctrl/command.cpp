#include "ctrl/command.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string>

#include "varn/player.h"

namespace Tonvale::ctrl {

int Send(VARN_AUDIO_COMMAND command, std::string_view payload, Answer answer) {
    VARN_AUDIO_CTRL_MSG message = {};
    message.command = command;
    payload.copy(message.payload, std::size(message.payload) - 1);
    if (answer.out != nullptr) {
        return VARNAudioCtrlSend(&message, answer.out, answer.size);
    }
    std::array<char, sizeof message.payload> nobodys;
    return VARNAudioCtrlSend(&message, nobodys.data(), nobodys.size());
}

int SendNumber(VARN_AUDIO_COMMAND command, int number, Answer answer) {
    return Send(command, std::to_string(number), answer);
}

int SendPage(VARN_AUDIO_COMMAND command, int offset, int limit, Answer answer) {
    return Send(command, std::to_string(offset) + " " + std::to_string(limit), answer);
}

}  // namespace Tonvale::ctrl
