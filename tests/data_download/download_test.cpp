#include <fstream>
#include <optional>
#include <tuple>

#include "support/fixture.h"
#include "support/scripted_http.h"
#include "tonvale/media.h"

namespace {

using namespace tonvale_test;
using Tonvale::DataDownload;

HttpReply Answer(const HttpRequest &request) {
    const auto to = [](const std::string &place) {
        return Reply("moved", "302 Found", "Location: " + place + "\r\n");
    };
    const std::pair<const char *, HttpReply> kAnswers[] = {
        {"/plain", Reply("content", "200 OK", "Content-Type: Text/PLAIN; Charset=X\r\n")},
        {"/empty", Reply("")},
        {"/chunked", ChunkedReply("in pieces", 4)},
        {"/slow", SlowReply(Reply("slowly"), 40, std::chrono::milliseconds(20))},
        {"/moved", to("/more/moved?q=1")},
        {"/more/moved?q=1", to("/a/Cover.PNG?size=9")},
        {"/a/Cover.PNG?size=9", Reply("picture", "200 OK", "")},
        {"/loop", to("/loop")},
        {"/to-file", to("file:///etc/hostname")},
        {"/to-ftp", to("ftp://127.0.0.1/x")},
        {"/nowhere", Reply("", "302 Found", "")},
        {"/part", Reply("part", "206 Partial Content")},
        {"/nothing", {"HTTP/1.1 204 No Content\r\nConnection: close\r\n\r\n"}},
        {"/error", Reply("oops", "500 Internal Server Error")},
        {"/cut", CutReply(Reply("content"), 3, Ending::kClose)},
        {"/reset", CutReply(Reply("content"), 3, Ending::kReset)},
        {"/cut-chunk", CutReply(ChunkedReply("content", 7), 8, Ending::kClose)},
        {"/no-http", {std::string("\0\xFF nonsense\r\n\r\n", 14)}},
        {"/silent", {""}},
        {"/long-type", Reply("x", "200 OK", "Content-Type: " + std::string(1000, 'T') + "\r\n")},
        {"/", Reply("x")}};
    for (const auto &[target, reply] : kAnswers) {
        if (request.target == target) {
            return reply;
        }
    }
    return request.target.starts_with("/long/") ? Reply("x") : Reply("none", "404 Not Found");
}

class DownloadTest : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        server_.emplace(Answer);
    }
    void TearDown() override {
        server_.reset();
        SystemTest::TearDown();
    }

    // Fetches into memory, and expects nothing to be written after a failure.
    int Fetch(DataDownload &download, std::string &out) const {
        out = "before";
        const int result = download.Download(out);
        EXPECT_TRUE(result == DataDownload::kSuccess || out == "before") << out;
        return result;
    }

    std::optional<ScriptedHttp> server_;
};

TEST_F(DownloadTest, FetchesAndDescribesTheContent) {
    const std::string longName = "/long/" + std::string(300, 'n');
    const std::tuple<std::string, std::string, double, std::string, std::string> kCases[] = {
        {"/plain", "content", 7, "text/plain; charset=x", "plain"},
        {"/empty", "", 0, "text/xml", "empty"},
        {"/chunked", "in pieces", -1, "", "chunked"},
        {"/slow", "slowly", 6, "text/xml", "slow"},
        {"/moved", "picture", 7, "", "Cover.PNG"},
        {"/", "x", 1, "text/xml", ""},
        {"/long-type", "x", 1, std::string(254, 't'), "long-type"},
        {longName, "x", 1, "text/xml", std::string(256, 'n')}};
    for (const auto &[target, body, length, type, name] : kCases) {
        SCOPED_TRACE(target);
        DataDownload download(server_->Url(target).c_str());
        std::string out;
        EXPECT_EQ(Fetch(download, out), DataDownload::kSuccess);
        EXPECT_EQ(out, body);
        EXPECT_EQ(download.ContentLength(), length);
        EXPECT_EQ(download.ContentType(), type);
        EXPECT_EQ(download.FileName(), name);
    }
    EXPECT_EQ(server_->Requests().front().Header("User-Agent"), "Tonvale/5.7.0 (Varnel)");
    EXPECT_EQ(server_->Requests().front().method, "GET");
    EXPECT_TRUE(Log().empty());
}

TEST_F(DownloadTest, DescribesNothingAfterAFailure) {
    const std::pair<const char *, int> kCases[] = {
        {"/missing", 404},  {"/error", 500},  {"/part", 206},  {"/nothing", 204}, {"/nowhere", 302},
        {"/loop", -1},      {"/to-file", -1}, {"/to-ftp", -1}, {"/cut", -1},      {"/reset", -1},
        {"/cut-chunk", -1}, {"/no-http", -1}, {"/silent", -1}};
    const std::string path = scratch() / "file";
    for (const auto &[target, logged] : kCases) {
        SCOPED_TRACE(target);
        ClearLog();
        DataDownload download(server_->Url(target).c_str());
        std::string out;
        EXPECT_EQ(Fetch(download, out), DataDownload::kFailure);
        EXPECT_EQ(download.ContentLength(), -1);
        EXPECT_STREQ(download.FileName(), "");
        std::ofstream(path) << "before";
        EXPECT_EQ(download.CurlExec(path.c_str()), DataDownload::kFailure);
        EXPECT_EQ(ReadFile(path).find("before"), std::string::npos);
        EXPECT_EQ(Log().size(), logged >= 0 ? 2U : 0U);
        EXPECT_TRUE(logged < 0 ||
                    Logged("audiolib/data_download:[0-9]+ Failed to download data, ResponseCode=" +
                           std::to_string(logged) + "$"));
    }
    EXPECT_LT(server_->Requests().size(), 100U) << "a loop has an end";
}

TEST_F(DownloadTest, WritesFiles) {
    const fs::path path = scratch() / "file";
    DataDownload download(server_->Url("/plain").c_str());
    std::ofstream(path) << "something longer than the content";
    EXPECT_EQ(download.CurlExec(path.c_str()), DataDownload::kSuccess);
    EXPECT_EQ(ReadFile(path), "content");
    // No request is sent for a file that cannot be written.
    const std::size_t asked = server_->Requests().size();
    for (const std::string &bad : {(scratch() / "no" / "folder").string(), scratch().string(),
                                   std::string(), std::string(5000, 'x')}) {
        ClearLog();
        EXPECT_EQ(download.CurlExec(bad.c_str()), DataDownload::kFailure);
        EXPECT_TRUE(
            Logged("audiolib/data_download:[0-9]+ Failed to download data, ResponseCode=0$"));
    }
    EXPECT_EQ(server_->Requests().size(), asked);
    EXPECT_TRUE(fs::exists(scratch()));
    // A full disk shows at the latest when the file is closed.
    fs::create_symlink("/dev/full", scratch() / "full");
    EXPECT_EQ(download.CurlExec((scratch() / "full").c_str()), DataDownload::kFailure);
    EXPECT_TRUE(fs::is_symlink(scratch() / "full"));
    EXPECT_EQ(download.CurlExec(path.c_str()), DataDownload::kSuccess) << "used again";
}

TEST_F(DownloadTest, ForgetsTheContentOfAnEarlierRun) {
    int runs = 0;
    const ScriptedHttp server([&](const HttpRequest &) {
        return ++runs == 1 ? Reply("content") : Reply("oops", "500 Internal Server Error");
    });
    DataDownload download(server.Url("/name").c_str());
    EXPECT_EQ(download.CurlExec(nullptr), DataDownload::kSuccess);
    EXPECT_STREQ(download.FileName(), "name");
    EXPECT_EQ(download.CurlExec(nullptr), DataDownload::kFailure);
    EXPECT_STREQ(download.FileName(), "");
    EXPECT_STREQ(download.ContentType(), "");
    EXPECT_EQ(download.ContentLength(), -1);
}

TEST_F(DownloadTest, KeepsToTheMaximumSize) {
    const fs::path path = scratch() / "file";
    const std::tuple<const char *, int, int> kCases[] = {
        {"/plain", 7, DataDownload::kSuccess},   {"/plain", 6, DataDownload::kTooLarge},
        {"/chunked", 9, DataDownload::kSuccess}, {"/chunked", 8, DataDownload::kTooLarge},
        {"/chunked", 0, DataDownload::kSuccess}, {"/plain", -1, DataDownload::kSuccess},
        {"/moved", 7, DataDownload::kSuccess}};
    for (const auto &[target, most, result] : kCases) {
        SCOPED_TRACE(std::string(target) + " " + std::to_string(most));
        DataDownload download(server_->Url(target).c_str());
        download.SetMaxSize(most);
        std::string out;
        EXPECT_EQ(Fetch(download, out), result);
        EXPECT_EQ(download.CurlExec(path.c_str()), result);
        EXPECT_LE(fs::file_size(path), most > 0 ? static_cast<std::size_t>(most) : 9U);
    }
    EXPECT_TRUE(Log().empty());
}

}  // namespace
