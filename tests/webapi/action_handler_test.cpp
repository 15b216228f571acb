#include <fcntl.h>
#include <json/writer.h>
#include <unistd.h>

#include <cmath>

#include "support/fixture.h"
#include "tonvale/action.h"

namespace {

using namespace tonvale_test;

class Action : public ActionHandler {
  public:
    bool Process() override { return true; }
};

using Actions = SystemTest;

std::string OneLine(const Json::Value &value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

TEST_F(Actions, MarkSuccessesAndFailures) {
    Action action;
    Json::Value reply(Json::objectValue);
    reply["data"]["x"] = 1;
    action.SetSuccess(reply, true);
    EXPECT_EQ(OneLine(reply), R"({"data":{"x":1},"success":true})");
    action.SetWebapiFormatError(reply, 404);
    action.SetError(reply, "a", "b", 1);
    action.SetError(reply, "section", nullptr, 77);
    EXPECT_EQ(OneLine(reply), R"({"data":{"x":1},"errno":{"key":"","line":77,"section":"section"},)"
                              R"("error":{"code":404},"success":false})");
    // A value that can have no members is replaced, so that no failure goes out as a success.
    for (const Json::Value &odd : {Json::Value("text"), Json::Value(Json::arrayValue)}) {
        reply = Json::Value(Json::objectValue);
        reply["success"] = true;
        reply["error"] = reply["errno"] = odd;
        action.SetWebapiFormatError(reply, 404);
        action.SetError(reply, "a", "b", 1);
        EXPECT_EQ(OneLine(reply), R"({"errno":{"key":"b","line":1,"section":"a"},)"
                                  R"("error":{"code":404},"success":false})");
        Json::Value none = odd;
        action.SetSuccess(none, true);
        EXPECT_EQ(OneLine(none), R"({"success":true})");
    }
}

TEST_F(Actions, PrintHeaderAndStrictJson) {
    const std::pair<const char *, const char *> cases[] = {
        {nullptr, "Content-Type: application/json; charset=utf-8\r\n\r\n"},
        {"Status: 503 Busy\nRetry-After: 5", "Status: 503 Busy\r\nRetry-After: 5\r\n\r\n"},
        {"A: 1\r\nB: 2\r\n\r\n", "A: 1\r\nB: 2\r\n\r\n"},
    };
    Json::Value reply(Json::objectValue);
    reply["t"] = "\"\\\xC3\xA9\n\xF0\x9F\x8E\xB5</script>";
    for (const auto &[header, written] : cases) {
        const Captured out(1);
        EXPECT_TRUE(Action().PrintResponse(reply, header));
        EXPECT_EQ(out.Text(), std::string(written) + R"({"t":"\"\\\u00e9\n\ud83c\udfb5</script>"})"
                                                     "\n");
    }
    // Neither bytes that are not UTF-8 nor numbers that JSON does not have.
    reply["t"] = "cut \xC3";
    reply["n"] = std::nan("");
    const Captured out(1);
    EXPECT_TRUE(Action().PrintResponse(reply, "X: y"));
    EXPECT_EQ(out.Text().substr(8), "{\"n\":null,\"t\":\"cut \\ufffd\"}\n");
}

TEST_F(Actions, FailWhenTheOutputIsFull) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    const int saved = fcntl(1, F_DUPFD_CLOEXEC, 3);
    std::fflush(stdout);
    dup2(full, 1);
    EXPECT_FALSE(Action().PrintResponse(Json::Value(Json::objectValue), "A: b"));
    dup2(saved, 1);
    close(saved);
    close(full);
    std::clearerr(stdout);
}

class RangeField : public SystemTest {
  protected:
    void TearDown() override {
        for (const char *name : {"HTTP_RANGE", "HTTP_IF_RANGE", "REQUEST_METHOD"}) {
            unsetenv(name);
        }
        SystemTest::TearDown();
    }
    // "first-last", or "whole".
    static std::string Seek(long long total) {
        _tag_HTTP_RANGE_SEGMENT *segment = nullptr;
        const int found = HTTPFileOutputer::SeekHttpRange(&segment, total);
        const varn::MallocPtr<_tag_HTTP_RANGE_SEGMENT> owned(segment);
        EXPECT_EQ(found > 0, segment != nullptr);
        return segment == nullptr
                   ? "whole"
                   : std::to_string(segment->first) + "-" + std::to_string(segment->last);
    }
};

TEST_F(RangeField, SelectsOneRangeOfBytes) {
    const std::pair<const char *, const char *> cases[] = {
        {"bytes=0-99", "0-99"},     {"bytes=99-", "99-99"},
        {"bytes=5-1000", "5-99"},   {"bytes=-5", "95-99"},
        {"bytes=-101", "0-99"},     {"bytes=-99999999999999999999", "0-99"},
        {"BYTES=1-2", "1-2"},       {"bytes= 1-2 ", "1-2"},
        {"bytes=,1-2,,", "1-2"},    {"bytes=1-99999999999999999999", "1-99"},
        {"bytes=100-200", "whole"}, {"bytes=99999999999999999999-", "whole"},
        {"bytes=2-1", "whole"},     {"bytes=-0", "whole"},
        {"bytes=-", "whole"},       {"bytes=1", "whole"},
        {"bytes=1-2,4-5", "whole"}, {"bytes=1-2-3", "whole"},
        {"bytes=+1-2", "whole"},    {"bytes=1 - 2", "whole"},
        {"bytes=a-b", "whole"},     {"lines=1-2", "whole"},
        {"bytes=0x1-2", "whole"},   {"bytes=1-\xff", "whole"},
    };
    for (const auto &[field, range] : cases) {
        setenv("HTTP_RANGE", field, 1);
        EXPECT_EQ(Seek(100), range) << field;
    }
}

TEST_F(RangeField, CountsForPlainGetRequestsAlone) {
    EXPECT_EQ(Seek(100), "whole");
    setenv("HTTP_RANGE", "bytes=0-1", 1);
    EXPECT_EQ(Seek(1), "0-0");
    EXPECT_EQ(Seek(INT64_MAX), "0-1");
    for (const long long total : {0LL, -1LL, static_cast<long long>(INT64_MIN)}) {
        EXPECT_EQ(Seek(total), "whole") << total;
    }
    EXPECT_EQ(HTTPFileOutputer::SeekHttpRange(nullptr, 100), 0);
    for (const char *method : {"POST", "HEAD", "GET"}) {
        setenv("REQUEST_METHOD", method, 1);
        EXPECT_EQ(Seek(100), *method == 'G' ? "0-1" : "whole") << method;
    }
    setenv("HTTP_IF_RANGE", "\"tag\"", 1);
    EXPECT_EQ(Seek(100), "whole");
}

}  // namespace
