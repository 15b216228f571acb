#include "data_download/transfer.h"
#include "data_download/sinks.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "support/fixture.h"
#include "support/scripted_http.h"

namespace {

using namespace tonvale_test;
using namespace std::chrono_literals;
using Tonvale::download::Outcome;
using Tonvale::download::Patience;
using Tonvale::download::Transfer;

class CountingSink : public Tonvale::download::Sink {
  public:
    bool Restart() override {
        ++attempts;
        text.clear();
        return true;
    }
    bool Write(std::string_view bytes) override {
        text += bytes;
        return true;
    }
    int attempts = 0;
    std::string text;
};

using TransferTest = SystemTest;

TEST_F(TransferTest, TriesAgainAfterATimeOut) {
    constexpr Patience kShort = {1s, 1s, 300ms};
    for (const int slow : {1, 3}) {  // answers that come too late
        const int attempts = std::min(slow + 1, 3);
        const Outcome outcome = slow < 3 ? Outcome::kAnswered : Outcome::kFailed;
        int count = 0;
        const ScriptedHttp server([&](const HttpRequest &) {
            const auto reply = Reply("the body, whole");
            // A late answer begins in time. Its connection then ends, for the next attempt.
            return ++count > slow
                       ? reply
                       : SlowReply(CutReply(reply, 7, Ending::kClose), reply.bytes.size(), 1100ms);
        });
        Transfer transfer(kShort);
        CountingSink sink;
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(transfer.Run(server.Url(), 0, sink), outcome) << slow;
        EXPECT_GE(std::chrono::steady_clock::now() - start, (attempts - 1) * kShort.pause);
        EXPECT_EQ(sink.attempts, attempts);
        EXPECT_EQ(server.Requests().size(), static_cast<std::size_t>(attempts));
        EXPECT_EQ(sink.text, outcome == Outcome::kAnswered ? "the body, whole" : "the body")
            << "each attempt begins anew";
    }
}

TEST_F(TransferTest, LeavesNothingOfAnEarlierAttempt) {
    std::string text;
    Tonvale::download::TextSink memory(text);
    const std::string path = scratch() / "download";
    Tonvale::download::FileSink file(path.c_str());
    for (Tonvale::download::Sink *sink :
         std::initializer_list<Tonvale::download::Sink *>{&memory, &file}) {
        for (const char *bytes : {"a long first part", "short"}) {
            ASSERT_TRUE(sink->Restart());
            ASSERT_TRUE(sink->Write(bytes));
        }
    }
    EXPECT_EQ(text, "short");
    EXPECT_TRUE(file.Close());
    EXPECT_EQ(ReadFile(path), "short");
}

TEST_F(TransferTest, TriesAgainWhenANameIsNotResolved) {
    setenv("no_proxy", "*", 1);
    CountingSink host;
    EXPECT_EQ(Transfer({10s, 10s, 1ms}).Run("http://nowhere.invalid/", 0, host), Outcome::kFailed);
    EXPECT_EQ(host.attempts, 3);
}

TEST_F(TransferTest, TriesNothingElseAgain) {
    const ScriptedHttp server([](const HttpRequest &request) {
        return CutReply(Reply("body"), 2,
                        request.target == "/cut" ? Ending::kClose : Ending::kReset);
    });
    setenv("no_proxy", "*", 1);
    for (const std::string &url :
         {server.Url("/cut"), server.Url("/reset"), std::string("http://127.0.0.1:1/"),
          std::string("http://"), std::string(""), std::string("nonsense://x/")}) {
        CountingSink sink;
        EXPECT_EQ(Transfer().Run(url, 0, sink), Outcome::kFailed) << url;
        EXPECT_EQ(sink.attempts, 1) << url;
    }
}

}  // namespace
