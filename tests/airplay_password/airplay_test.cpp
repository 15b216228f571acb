#include <chrono>
#include <tuple>

#include "airplay_password/real_speaker.h"
#include "airplay_password/scripted_speaker.h"
#include "support/fixture.h"
#include "tonvale/players.h"
#include "tonvale/settings.h"

namespace {

using namespace tonvale_test;
using namespace Tonvale::airplay;
using Clock = std::chrono::steady_clock;

constexpr char kHost[] = "127.0.0.1";
constexpr char kUnauthorized[] = "401 Unauthorized";
constexpr char kChallenge[] = "WWW-Authenticate: Digest realm=\"raop\", nonce=\"0a1b\"\r\n";

std::string Answer(const std::string &status, const std::string &headers = "") {
    return "RTSP/1.0 " + status + "\r\nCSeq: CSEQ\r\n" + headers + "\r\n";
}

// A speaker that asks for a password and then takes any.
ScriptedSpeaker::Script Asking(const std::string &headers) {
    return [=](int n) { return n == 0 ? Answer(kUnauthorized, headers) : Answer("200 OK"); };
}

class AirplayTest : public SystemTest {
  protected:
    // The first call opens what libcurl keeps open. The base class counts descriptors after it.
    void SetUp() override {
        {
            const Captured quiet(2);
            IsNeedPassword("", "");
        }
        SystemTest::SetUp();
    }
    static void ExpectNeed(const std::string &port, bool known, bool needed) {
        const PasswordNeed need = IsNeedPassword(kHost, port.c_str());
        EXPECT_EQ(need.known, known);
        EXPECT_EQ(need.needed, needed);
    }
};

TEST_F(AirplayTest, ARealSpeakerKnowsItsPassword) {
    const std::string password = "s3cret 'q\" \xC3\xA9%s";
    const RealSpeaker speaker(scratch(), password);
    const std::string port = speaker.Port();
    ExpectNeed(port, true, true);
    EXPECT_EQ(TestPassword(kHost, port.c_str(), password.c_str()), AIRPLAY_REACHABLE);
    for (const std::string &wrong : {std::string(), password + " "}) {
        EXPECT_EQ(TestPassword(kHost, port.c_str(), wrong.c_str()), AIRPLAY_PASSWORD);
    }
    EXPECT_TRUE(Log().empty());
    EXPECT_EQ(TestPassword(kHost, port.c_str(), nullptr), AIRPLAY_FAILED);
    EXPECT_TRUE(Logged("audiolib/airplay_password:\\d+ Failed to GetAuthorizationString$"));
}

TEST_F(AirplayTest, EveryStatusHasItsMeaning) {
    const std::tuple<const char *, bool, bool, int, const char *> kCases[] = {
        {"200 OK", true, false, 0, ""},
        {kUnauthorized, true, true, 1, ""},
        {"453 Not Enough Bandwidth", false, false, 2, "\\] due to busy$"},
        {"404 Not Found", false, false, 3, "Unhandled http code \\[404\\]$"},
        {"500 Broken", false, false, 3, "Failed to get the status of airplay \\[127.*:\\d+\\]$"}};
    for (const auto &[status, known, needed, tried, log] : kCases) {
        ScriptedSpeaker speaker(Answer(status));
        ClearLog();
        ExpectNeed(speaker.Port(), known, needed);
        EXPECT_EQ(Logged("Failed to get the status of airplay \\[127.0.0.1:" + speaker.Port() +
                         "\\] \\[[23]\\]$"),
                  !known)
            << status;
        EXPECT_EQ(speaker.TakeRequests().size(), 1U);
        ClearLog();
        EXPECT_EQ(TestPassword(kHost, speaker.Port().c_str(), "pass word"), tried) << status;
        EXPECT_EQ(speaker.TakeRequests().size(), tried == 1 ? 2U : 1U) << status;
        EXPECT_EQ(Log().empty(), *log == '\0') << status;
        EXPECT_TRUE(*log == '\0' || Logged(log)) << status;
        EXPECT_FALSE(Logged("pass word"));
    }
    ClearLog();
    EXPECT_EQ(AirplayStatus(0).Get(), 3);
    EXPECT_TRUE(Logged("^.*audiolib/airplay_password:\\d+ Unhandled http code \\[0\\]$"));
}

// The real receiver always answers OPTIONS with 200, also while it plays.
TEST_F(AirplayTest, ASpeakerMayBeBusyAfterItsChallenge) {
    ScriptedSpeaker speaker([](int n) {
        return Answer(n == 0 ? kUnauthorized : "453 Not Enough Bandwidth", kChallenge);
    });
    EXPECT_EQ(TestPassword(kHost, speaker.Port().c_str(), "p"), AIRPLAY_BUSY);
    EXPECT_TRUE(Log().empty());
}

TEST_F(AirplayTest, TheRealmAndNonceAreThoseOfTheChallenge) {
    const std::string longest(255, 'r');
    const std::string nonce1023(1023, 'n');
    const std::string jack = "aPPLE-jACK-sTATUS: connected; type=analog\r\n";
    const std::string head = "WWW-Authenticate: Digest ";
    const struct {
        const char *what;
        std::string headers, realm, nonce;
    } kCases[] = {
        {"plain", kChallenge, "raop", "0a1b"},
        {"a jack after it", kChallenge + jack, "raop", "0a1b"},
        {"a challenge in a jack's line",
         "Audio-Jack-Status: realm=\"a\", nonce=\"b\"\r\n" + std::string(kChallenge), "raop",
         "0a1b"},
        {"no challenge", "", "", ""},
        {"other order", head + "nonce=\"x\", stale=\"no\", realm=\"y z\"\r\n", "y z", "x"},
        {"empty values", head + "realm=\"\", nonce=\"\"\r\n", "", ""},
        {"nonce without quotes", head + "realm=\"raop\", nonce=0a1b\r\n", "", ""},
        {"nonce without an end", head + "realm=\"raop\", nonce=\"0a1b\r\n", "", ""},
        {"no realm", head + "nonce=\"0a1b\"\r\n", "", ""},
        {"another case of the name", "Www-Authenticate: Digest realm=\"a\", nonce=\"b\"\r\n", "",
         ""},
        {"the last good one", std::string(kChallenge) + head + "realm=\"a\", nonce=\"b\"\r\n", "a",
         "b"},
        {"cut values", head + "realm=\"" + longest + "xyz\", nonce=\"" + nonce1023 + "\"\r\n",
         longest, nonce1023.substr(0, 255)},
        {"a value too long", head + "realm=\"raop\", nonce=\"" + nonce1023 + "n\"\r\n", "", ""},
        {"not text", head + "realm=\"%s%n\xFF\xC3\", nonce=\"\\\"\r\n", "%s%n\xFF\xC3", "\\"}};
    for (const auto &[what, headers, realm, nonce] : kCases) {
        ScriptedSpeaker speaker(Asking(headers));
        EXPECT_EQ(TestPassword(kHost, speaker.Port().c_str(), "p%s:w"), AIRPLAY_REACHABLE) << what;
        const auto requests = speaker.TakeRequests();
        ASSERT_EQ(requests.size(), 2U) << what;
        for (const std::string &request : requests) {
            EXPECT_TRUE(request.starts_with("OPTIONS * RTSP/1.0\r\n")) << request;
        }
        EXPECT_EQ(requests[0].find("Authorization"), std::string::npos) << what;
        EXPECT_NE(requests[1].find("\r\nAuthorization: Digest username=\"iTunes\", realm=\"" +
                                   realm + "\", nonce=\"" + nonce + "\", uri=\"*\", response=\""),
                  std::string::npos)
            << what << "\n"
            << requests[1];
    }
    EXPECT_TRUE(Log().empty());
}

// The responses were computed with md5sum.
TEST_F(AirplayTest, TheDigestAnswersTheChallenge) {
    const std::string plain = kChallenge;
    const std::string jack = "Audio-Jack-Status: connected\r\n";
    const std::tuple<std::string, std::string, const char *> kCases[] = {
        {plain, "secret", "2d8dd5347c46ec9f794884b1e7943ecd"},
        {plain, "", "dbda3d8e6f0966a9fd99afecdbfb2445"},
        {plain, std::string(5000, 'p'), "c322d498f95fee0135425750b96fd974"},
        {jack + plain, "secret", "CB4DDC5A9647DED21CE490F0DC3F0171"},
        {plain + jack, "secret", "CB4DDC5A9647DED21CE490F0DC3F0171"}};
    for (const auto &[headers, password, response] : kCases) {
        ScriptedSpeaker speaker(Asking(headers));
        EXPECT_EQ(TestPassword(kHost, speaker.Port().c_str(), password.c_str()), 0);
        const auto requests = speaker.TakeRequests();
        ASSERT_EQ(requests.size(), 2U);
        EXPECT_NE(requests[1].find(std::string("response=\"") + response + "\""), std::string::npos)
            << requests[1];
    }
}

TEST_F(AirplayTest, InvalidAnswersAreFailures) {
    const std::pair<const char *, std::string> kCases[] = {
        {"no number", "RTSP/1.0 200 OK\r\n\r\n"},
        {"another number", "RTSP/1.0 200 OK\r\nCSeq: 4711\r\n\r\n"},
        {"another protocol", "SSH-2.0-speaker\r\n\r\n"},
        {"no status", "RTSP/1.0\r\nCSeq: CSEQ\r\n\r\n"}};
    for (const auto &[what, answer] : kCases) {
        auto speaker = std::make_unique<ScriptedSpeaker>(answer);
        const std::string port = speaker->Port();
        ClearLog();
        EXPECT_EQ(TestPassword(kHost, port.c_str(), "p"), AIRPLAY_FAILED) << what;
        EXPECT_TRUE(Logged(
            "Failed to curl_easy_perform, code=\\d+, url\\[rtsp://127.0.0.1:" + port + "\\]$"))
            << what;
        EXPECT_TRUE(Logged("Unhandled http code \\[0\\]$")) << what;
    }
    EXPECT_EQ(TestPassword(kHost, std::to_string(UnusedPort()).c_str(), "p"), AIRPLAY_FAILED);
    EXPECT_EQ(TestPassword("", "", "p"), AIRPLAY_FAILED);
    EXPECT_EQ(TestPassword(nullptr, nullptr, "p"), AIRPLAY_FAILED);
    EXPECT_EQ(TestPassword(kHost, "70000", "p"), AIRPLAY_FAILED);
    EXPECT_FALSE(IsNeedPassword("two words\r\nX: y", "1").known);
}

TEST_F(AirplayTest, ASilentSpeakerIsGivenFiveSeconds) {
    ScriptedSpeaker speaker("");
    const auto start = Clock::now();
    EXPECT_EQ(TestPassword(kHost, speaker.Port().c_str(), "p"), AIRPLAY_FAILED);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(4900));
}

TEST_F(AirplayTest, ASpeakerMayHangUpButNotAnswerWithoutEnd) {
    ScriptedSpeaker closing(Asking(kChallenge), ScriptedSpeaker::kHangUp);
    EXPECT_EQ(TestPassword(kHost, closing.Port().c_str(), "p"), AIRPLAY_REACHABLE);
    EXPECT_EQ(closing.TakeRequests().size(), 2U);
    std::string endless = "RTSP/1.0 200 OK\r\n";
    while (endless.size() < 30'000'000) {
        endless += "X-Filler: " + std::string(900, 'x') + "\r\n";
    }
    ScriptedSpeaker talker(endless);
    ExpectNeed(talker.Port(), false, false);
}

TEST_F(AirplayTest, NoProxyIsUsed) {
    const std::string proxy = "http://127.0.0.1:" + std::to_string(UnusedPort());
    ScriptedSpeaker speaker(Answer("200 OK"));
    for (const char *variable : {"all_proxy", "ALL_PROXY", "rtsp_proxy"}) {
        setenv(variable, proxy.c_str(), 1);
        ExpectNeed(speaker.Port(), true, false);
        unsetenv(variable);
    }
}

TEST_F(AirplayTest, AnAnswersBodyIsNotPrinted) {
    ScriptedSpeaker speaker(Answer("200 OK", "Content-Length: 4\r\n") + "body");
    testing::internal::CaptureStdout();
    ExpectNeed(speaker.Port(), true, false);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

}  // namespace
