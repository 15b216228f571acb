
#include <chrono>
#include <cstring>
#include <functional>
#include <future>
#include <limits>

#include "ctrl/scripted_daemon.h"
#include "support/fixture.h"
#include "tonvale/players.h"
#include "varn/base.h"
#include "varn/player.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kPayloadSize = 8192;

class CommandTest : public SystemTest {
  protected:
    static int Ask(char *reply, int size) {
        const VARN_AUDIO_CTRL_MSG message = {};
        return VARNAudioCtrlSend(&message, reply, size);
    }
};

struct Row {
    const char *name;
    int code;
    std::string payload;
    std::function<int(char *, int)> call;
    bool asks = false;
};

// A command without an answer.
std::function<int(char *, int)> Tell(std::function<int()> call) {
    return [call](char *, int) { return call(); };
}

std::vector<Row> Rows() {
    constexpr float kGains[] = {0, 1.5, -3, 12, -12, 0.25, 0.05F, 100, -0.04F, 9.96F};
    constexpr int kLowest = std::numeric_limits<int>::min();
    const std::string path = "/volume1/\"q'\\%s%n_\r\n \xC3\xA9\xFF";
    return {
        {"Jump", 8, "7", Tell([] { return VARNAudioJump(7); })},
        {"Seek", 9, "-2147483648", Tell([=] { return VARNAudioSeek(kLowest); })},
        {"SetVolume", 11, "150", Tell([] { return VARNAudioSetVolume(150); })},
        {"SetMultipleVolumes", 12, "1,2,3",
         Tell([] { return VARNAudioSetMultipleVolumes("1,2,3"); })},
        {"MultiAirPlayRefresh", 18, "", Tell(VARNAudioMultiAirPlayRefresh)},
        {"MultiBluetoothRefresh", 19, "", Tell(VARNAudioMultiBluetoothRefresh)},
        {"SearchServer", 20, "", Tell(VARNAudioSearchServer)},
        {"SearchRenderer", 21, "", Tell(VARNAudioSearchRenderer)},
        {"ListServer", 22, "0 10",
         [](char *out, int size) { return VARNAudioListServer(0, 10, out, size); }, true},
        {"ListRenderer", 23, "5 -1",
         [](char *out, int size) { return VARNAudioListRenderer(5, -1, out, size); }, true},
        {"PlayerInfo", 26, "", VARNAudioPlayerInfo, true},
        {"Delete", 27, "0", Tell([] { return VARNAudioDelete(0); })},
        {"DeleteAll", 28, "", Tell(VARNAudioDeleteAll)},
        {"SetIndex", 29, "3", Tell([] { return VARNAudioSetIndex(3); })},
        {"SetMode", 30, "2", Tell([] { return VARNAudioSetMode(2); })},
        {"ListPlaylist", 32, "100 50",
         [](char *out, int size) { return VARNAudioListPlaylist(100, 50, out, size); }, true},
        {"ResetRefresh", 33, "", Tell(VARNAudioResetRefresh)},
        {"SetRefresh", 34, "", Tell(VARNAudioSetRefresh)},
        {"SetEqualizer", 40, "0.0 1.5 -3.0 12.0 -12.0 0.2 0.1 100.0 -0.0 10.0",
         Tell([=] { return VARNAudioSetEqualizer(kGains); })},
        {"OutputPlaylist", 42, path, Tell([=] { return VARNAudioOutputPlaylist(path.c_str()); })},
        {"OutputPlaylist, too long", 42, std::string(kPayloadSize - 1, 'p'),
         Tell([] { return VARNAudioOutputPlaylist(std::string(9000, 'p').c_str()); })},
        {"AddFromFile", 43, path, Tell([=] { return VARNAudioAddFromFile(path.c_str()); })},
        {"PlayerInfoByUDN", 44, "uuid:%d",
         [](char *out, int size) { return VARNAudioPlayerInfoByUDN("uuid:%d", out, size); }, true},
        {"PlayerInfoByIndex", 45, "-2",
         [](char *out, int size) { return VARNAudioPlayerInfoByIndex(-2, out, size); }, true},
        {"RefreshLogLevel", 46, "", Tell(VARNAudioRefreshLogLevel)}};
}

TEST_F(CommandTest, EveryCommandSendsItsCodeAndPayload) {
    const std::string kAnswer = "{\"success\": true}";
    ScriptedDaemon daemon(kAnswer);
    for (const Row &row : Rows()) {
        char out[64] = "as it was";
        EXPECT_EQ(row.call(out, sizeof out), static_cast<int>(kAnswer.size())) << row.name;
        EXPECT_STREQ(out, row.asks ? kAnswer.c_str() : "as it was") << row.name;
        const auto messages = daemon.TakeMessages();
        ASSERT_EQ(messages.size(), 1U) << row.name;
        std::string expected(sizeof(int32_t) + kPayloadSize, '\0');
        std::memcpy(expected.data(), &row.code, sizeof row.code);
        row.payload.copy(expected.data() + sizeof(int32_t), row.payload.size());
        EXPECT_TRUE(messages[0] == expected)
            << row.name << ": " << (messages[0].c_str() + sizeof(int32_t));
    }
}

TEST_F(CommandTest, BadArgumentsAreLoggedAndNotSent) {
    ScriptedDaemon daemon("never asked");
    ClearLog();  // without root's rights its socket is not handed over
    char out[8] = "as was";
    for (const int result :
         {VARNAudioListServer(0, 1, nullptr, 8), VARNAudioListRenderer(0, 1, out, -1),
          VARNAudioListPlaylist(0, 1, nullptr, 0), VARNAudioPlayerInfo(nullptr, 8),
          VARNAudioPlayerInfoByUDN(nullptr, out, 8), VARNAudioPlayerInfoByIndex(0, out, 0),
          VARNAudioOutputPlaylist(nullptr), VARNAudioAddFromFile(nullptr), VARNAudioDelete(-1),
          VARNAudioSetMultipleVolumes(nullptr), VARNAudioSetEqualizer(nullptr)}) {
        EXPECT_EQ(result, -1);
    }
    EXPECT_EQ(Log().size(), 11U);
    for (const char *file : {"info", "playlist", "ctrl"}) {
        EXPECT_TRUE(Logged(std::string(file) + ":\\d+ Bad parameters?$")) << file;
    }
    EXPECT_STREQ(out, "as was");
    EXPECT_TRUE(daemon.TakeMessages().empty());
}

TEST_F(CommandTest, AnAnswerIsCutToTheBuffer) {
    ScriptedDaemon daemon(std::string(100000, 'a'));
    std::string out(20000, '#');
    for (const int size : {1, 2, 8192, 19999}) {
        EXPECT_EQ(Ask(out.data(), size), size - 1);
        EXPECT_EQ(std::strlen(out.c_str()), static_cast<std::size_t>(size - 1));
        EXPECT_EQ(out[static_cast<std::size_t>(size)], '#') << "written past its end";
    }
    // A command without an answer has a buffer of its own.
    EXPECT_EQ(VARNAudioDeleteAll(), 8191);
    EXPECT_EQ(Ask(nullptr, 8), -1);
    EXPECT_EQ(Ask(out.data(), 0), -1);
}

TEST_F(CommandTest, AMissingDaemonFailsAtOnce) {
    char out[8] = "before";
    EXPECT_EQ(VARNAudioPlayerInfo(out, sizeof out), -1);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(VARNAudioJump(1), -1);
    // A daemon that ended has left its socket.
    const std::string path = At(varn::path::kPlayerSocket);
    close(DomainSocketCreate(path.c_str(), 1));
    EXPECT_EQ(Ask(out, sizeof out), -1);
    EXPECT_EQ(errno, ECONNREFUSED);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_SYSTEM);
    unlink(path.c_str());
}

TEST_F(CommandTest, AnAnswerEndsWithTheConnection) {
    {
        ScriptedDaemon silent("");
        char out[8] = "before";
        EXPECT_EQ(Ask(out, sizeof out), 0);
        EXPECT_STREQ(out, "");
    }
    {
        ScriptedDaemon slow([](int client) {
            for (const char *part : {"one ", "two ", "three"}) {
                std::this_thread::sleep_for(std::chrono::milliseconds(30));
                ScriptedDaemon::Say(client, part);
            }
        });
        char out[32] = "";
        EXPECT_EQ(Ask(out, sizeof out), 13);
        EXPECT_STREQ(out, "one two three");
    }
    // A daemon that ends before it has read the message: the kernel reports the loss.
    const std::string path = At(varn::path::kPlayerSocket);
    const int listener = DomainSocketCreate(path.c_str(), 1);
    std::thread dying([&] {
        int client = -1;
        while ((client = SocketAccept(listener)) < 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        char some[100];
        EXPECT_EQ(recv(client, some, sizeof some, MSG_WAITALL), 100);
        EXPECT_TRUE(ScriptedDaemon::Say(client, "half an ans"));
        close(client);
    });
    char out[32] = "before";
    EXPECT_EQ(Ask(out, sizeof out), -1);
    EXPECT_STREQ(out, "");
    dying.join();
    close(listener);
    unlink(path.c_str());
}

TEST_F(CommandTest, NoDaemonHoldsACallerBeyondTheTimeout) {
    std::atomic<int> clients = 0;
    const ScriptedDaemon *self = nullptr;
    ScriptedDaemon daemon([&](int client) {
        const bool dribbles = clients++ == 0;
        while (!self->IsStopping() && (!dribbles || ScriptedDaemon::Say(client, "."))) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    self = &daemon;
    const auto start = Clock::now();
    const auto ask = [] {
        std::string out(8192, '#');
        const int result = Ask(out.data(), static_cast<int>(out.size()));
        EXPECT_EQ(errno, ETIMEDOUT);
        EXPECT_STREQ(out.c_str(), "");
        return result;
    };
    auto first = std::async(std::launch::async, ask);
    auto second = std::async(std::launch::async, ask);
    EXPECT_EQ(first.get(), -1);
    EXPECT_EQ(second.get(), -1);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(VARN_AUDIO_CTRL_TIMEOUT));
}

}  // namespace
