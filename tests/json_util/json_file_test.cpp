#include <json/value.h>

#include "support/fixture.h"
#include "tonvale/settings.h"

namespace {

using namespace tonvale_test;

class JsonFile : public SystemTest {
  protected:
    const std::string path_ = (scratch() / "settings.json").string();
};

TEST_F(JsonFile, WritesOneLineAndReadsItBack) {
    EXPECT_EQ(VARNAudioJsonSave(path_.c_str(), Json::Value(Json::objectValue)), 0);
    EXPECT_EQ(ReadFile(path_), "{}\n");

    Json::Value document;
    document["name"] = "O'Brien \"quoted\" \\ 100% \r\n \xC3\x9F \xE9\x9F\xB3";
    document["list"].append(1.5);
    document["list"].append(Json::Value());
    ASSERT_EQ(VARNAudioJsonSave(path_.c_str(), document), 0);
    const std::string text = ReadFile(path_);
    EXPECT_EQ(text.find('\n'), text.size() - 1);

    Json::Value read;
    EXPECT_EQ(VARNAudioJsonLoad(path_.c_str(), read), 0);
    EXPECT_EQ(read, document);
    EXPECT_TRUE(Log().empty());
}

TEST_F(JsonFile, OverwritesInPlace) {
    Touch(path_, std::string(5000, 'x'));
    const auto link = scratch() / "link.json";
    fs::create_symlink(path_, link);
    EXPECT_EQ(VARNAudioJsonSave(link.c_str(), Json::Value(1)), 0);
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(ReadFile(path_), "1\n");
}

TEST_F(JsonFile, TellsWhyItCannotWrite) {
    const Json::Value document(Json::objectValue);
    EXPECT_EQ(VARNAudioJsonSave(nullptr, document), -1);
    EXPECT_TRUE(Logged("audiolib/json_util:[0-9]+ Bad parameter\\.$"));
    EXPECT_EQ(VARNAudioJsonSave((scratch() / "none/a.json").c_str(), document), -1);
    EXPECT_TRUE(Logged("Failed to fopen \\[.*/none/a\\.json\\], \\[No such file or directory\\]$"));
    EXPECT_EQ(VARNAudioJsonSave("/dev/full", document), -1);
    EXPECT_TRUE(Logged("Failed to fwrite, \\[No space left on device\\]$"));
}

TEST_F(JsonFile, RefusesWhatIsMissingOrDamaged) {
    Json::Value document;
    EXPECT_EQ(VARNAudioJsonLoad(path_.c_str(), document), -1);
    EXPECT_TRUE(
        Logged("Failed to open json file \\[.*settings\\.json\\] No such file or directory$"));
    EXPECT_EQ(VARNAudioJsonLoad(nullptr, document), -1);
    EXPECT_EQ(VARNAudioJsonLoad(scratch().c_str(), document), -1);
    EXPECT_TRUE(Logged("Failed to parse json file \\[.*/scratch\\]$")) << "a folder";

    const std::string deep(100000, '[');
    for (const std::string_view damaged :
         {std::string_view(""), std::string_view("{"), std::string_view("{\"a\":}"),
          std::string_view("{\"a\": 1"), std::string_view("\0\0\0", 3),
          std::string_view("\xFF\xFE{}"), std::string_view(deep)}) {
        Touch(path_, damaged);
        ClearLog();
        EXPECT_EQ(VARNAudioJsonLoad(path_.c_str(), document), -1) << damaged.substr(0, 20);
        EXPECT_TRUE(Logged("audiolib/json_util:[0-9]+ Failed to parse json file \\["));
    }
}

}  // namespace
