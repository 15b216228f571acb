#include "player_watch.h"

#include <fcntl.h>
#include <json/value.h>
#include <json/writer.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <thread>

#include "service/base/failure.h"
#include "service/devices/player.h"

namespace tonvale_events {

namespace {

using namespace std::chrono_literals;

constexpr auto kPause = 1s;
constexpr auto kPauseWithoutPlayer = 5s;

Json::Value StateNow() {
    try {
        Json::Value state = tonvale_service::PlayerInfo("");
        if (state.isMember("song")) {
            tonvale_service::HidePath(state["song"]);
        }
        return state;
    } catch (const tonvale_service::Failure &) {
        return {};
    }
}

// True where time alone has passed: the song goes on as it should.
bool GoesOn(Json::Value before, Json::Value now, std::chrono::seconds passed) {
    if (!before.isObject() || !now.isObject()) {
        return before == now;
    }
    const Json::Value from = before["position"];
    const Json::Value to = now["position"];
    before.removeMember("position");
    now.removeMember("position");
    if (before != now || !from.isInt64() || !to.isInt64()) {
        return before == now && from == to;
    }
    const auto moved = to.asInt64() - from.asInt64();
    return moved == 0 || std::abs(moved - passed.count()) <= 2;
}

[[noreturn]] void Watch(int out) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    Json::Value told = "";
    auto toldAt = std::chrono::steady_clock::now();
    for (;;) {
        const Json::Value state = StateNow();
        const auto now = std::chrono::steady_clock::now();
        if (!GoesOn(told, state, std::chrono::duration_cast<std::chrono::seconds>(now - toldAt))) {
            told = state;
            toldAt = now;
            if (!varn::WriteAll(out, Json::writeString(writer, state) + "\n")) {
                _exit(0);
            }
        }
        std::this_thread::sleep_for(state.isNull() ? kPauseWithoutPlayer : kPause);
    }
}

}  // namespace

void PlayerWatch::Run(bool isWanted) {
    if (isWanted == static_cast<bool>(pipe_)) {
        return;
    }
    if (!isWanted) {
        pipe_.Reset();
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
        text_.clear();
        return;
    }
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        return;
    }
    pipe_.Reset(ends[0]);
    const varn::UniqueFd out(ends[1]);
    child_ = fork();
    if (child_ == 0) {
        // Holds no listener's connection, which would stay open.
        if (prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && dup2(out.Get(), STDOUT_FILENO) >= 0 &&
            close_range(STDERR_FILENO + 1, ~0U, 0) == 0) {
            Watch(STDOUT_FILENO);
        }
        _exit(1);
    }
    if (child_ < 0) {
        pipe_.Reset();
    }
}

std::optional<std::string> PlayerWatch::Read() {
    std::array<char, 16 << 10> block;
    ssize_t got = 0;
    while ((got = read(pipe_.Get(), block.data(), block.size())) > 0) {
        text_.append(block.data(), static_cast<std::size_t>(got));
    }
    if (got == 0) {
        Run(false);  // it has ended; the next look starts another one
        return std::nullopt;
    }
    const std::size_t end = text_.rfind('\n');
    if (end == text_.npos) {
        return std::nullopt;
    }
    const std::size_t before = end > 0 ? text_.rfind('\n', end - 1) : text_.npos;
    const std::size_t begin = before == text_.npos ? 0 : before + 1;
    std::string state = text_.substr(begin, end - begin);
    text_.erase(0, end + 1);
    return state;
}

}  // namespace tonvale_events
