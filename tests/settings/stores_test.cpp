// Custom keys, passwords of players, and the players that play together.
#include <gtest/gtest.h>
#include <json/value.h>

#include <set>

#include "support/fixture.h"
#include "tonvale/settings.h"
#include "varn/crypt.h"
#include "varn/systempath.h"

namespace {

class Stores : public tonvale_test::SystemTest {
  protected:
    static Json::Value Stored(std::string_view fixedPath) {
        Json::Value json;
        EXPECT_EQ(VARNAudioJsonLoad(At(fixedPath).c_str(), json), 0);
        return json;
    }
};

struct Key {
    std::string type = "T", value = "V", title = "N";
    int Get(int index) { return VARNAudioCustomGet(index, type, value, title); }
    std::string All() const { return type + "|" + value + "|" + title; }
};

TEST_F(Stores, CustomKeysStartEmptyAndAreWrittenWithTheFirstChange) {
    Json::Value json;
    ASSERT_EQ(VARNAudioCustomLoadJson(json), 0);
    EXPECT_EQ(json["items"].size(), 4U);
    for (int index = 1; index <= 4; ++index) {
        Key key;
        EXPECT_EQ(key.Get(index), 0);
        EXPECT_EQ(key.All(), "||");
        EXPECT_EQ(json["items"][index - 1]["id"].asInt(), index);
    }
    EXPECT_FALSE(std::filesystem::exists(At(varn::path::kCustomKeys)));

    ASSERT_EQ(VARNAudioCustomSet(4, "radio", "O'B \"%\\ \xC3\xA9\r\n", "title"), 0);
    Key key;
    ASSERT_EQ(key.Get(4), 0);
    EXPECT_EQ(key.All(), "radio|O'B \"%\\ \xC3\xA9\r\n|title");
    ASSERT_EQ(key.Get(1), 0);
    EXPECT_EQ(key.All(), "||");
    EXPECT_EQ(Stored(varn::path::kCustomKeys)["items"][3]["id"].asInt(), 4);

    for (const int index : {0, 5, -1, INT32_MIN}) {
        ClearLog();
        Key before;
        EXPECT_EQ(before.Get(index), -1);
        EXPECT_EQ(before.All(), "T|V|N");
        EXPECT_EQ(VARNAudioCustomSet(index, "", "", ""), -1);
        EXPECT_TRUE(Logged("audiolib/custom_key:[0-9]+ Index out of range \\[" +
                           std::to_string(index) + "\\]$"));
    }
}

TEST_F(Stores, CustomKeysOfDamagedFiles) {
    struct Case {
        const char *text;
        const char *log;  // null: an empty key
    };
    for (const Case &c :
         {Case{"{", "Failed to get custom json\\.$"}, Case{"", "Failed to get custom json\\.$"},
          Case{"{}", "Invalid json file$"}, Case{"[]", "Invalid json file$"},
          Case{"7", "Invalid json file$"}, Case{"{\"items\": null}", "Invalid json file$"},
          Case{"{\"items\": {\"3\": 1}}", "Invalid json file$"}, Case{"{\"items\": []}", nullptr},
          Case{"{\"items\": [1, \"x\", [], null]}", nullptr},
          Case{"{\"items\": [{}, {}, {}, {\"type\": 5, \"value\": null, \"title\": []}]}",
               nullptr}}) {
        SCOPED_TRACE(c.text);
        ClearLog();
        WriteFile(varn::path::kCustomKeys, c.text);
        Key key;
        EXPECT_EQ(key.Get(4), c.log == nullptr ? 0 : -1);
        EXPECT_EQ(key.All(), c.log == nullptr ? "||" : "T|V|N");
        EXPECT_EQ(VARNAudioCustomSet(4, "a", "b", "c"), c.log == nullptr ? 0 : -1);
        if (c.log != nullptr) {
            EXPECT_TRUE(Logged(std::string("audiolib/custom_key:[0-9]+ ") + c.log));
            EXPECT_EQ(ReadFile(At(varn::path::kCustomKeys)), c.text);
            continue;
        }
        ASSERT_EQ(key.Get(4), 0);
        EXPECT_EQ(key.All(), "a|b|c");
    }
}

TEST_F(Stores, PasswordsComeBackWhateverTheyHold) {
    char out[256];
    for (const std::string &password :
         {std::string("abc"), std::string("1"), std::string("12345678"), std::string("123456789"),
          std::string("a password of more than twenty"), std::string("O'B \"%\\ \xC3\xA9\r\n"),
          std::string("\xFF\xFE"), std::string(200, 'x')}) {
        SCOPED_TRACE(password);
        ASSERT_EQ(VARNAudioPasswordSet("Kitchen \"1\"", password.c_str()), 0);
        ASSERT_EQ(VARNAudioPasswordGet("Kitchen \"1\"", out, sizeof out), 0);
        EXPECT_EQ(out, password);
        const Json::Value entry = Stored(varn::path::kPasswords)["Kitchen \"1\""];
        ASSERT_EQ(entry.getMemberNames(), std::vector<std::string>{"password_encrypted"});
        const std::string cipher = entry["password_encrypted"].asString();
        EXPECT_LT(cipher.size(), std::max<std::size_t>(2 * password.size(), 16));
        EXPECT_EQ(ReadFile(At(varn::path::kPasswords)).find("password of"), std::string::npos);
    }
    // A buffer that is too small cuts the password, never the ciphertext.
    ASSERT_EQ(VARNAudioPasswordGet("Kitchen \"1\"", out, 5), 0);
    EXPECT_STREQ(out, "xxxx");
    ASSERT_EQ(VARNAudioPasswordSet("other", "y"), 0);
    ASSERT_EQ(VARNAudioPasswordGet("Kitchen \"1\"", out, sizeof out), 0);
    EXPECT_EQ(out, std::string(200, 'x')) << "another name's password was touched";
}

TEST_F(Stores, PasswordsThatCannotBeHad) {
    char out[16] = "before";
    EXPECT_EQ(VARNAudioPasswordGet("nobody", out, sizeof out), -1);
    EXPECT_TRUE(Log().empty()) << "an unknown name is no failure to log";
    for (const char *text :
         {"{\"a\": 5}", "{\"a\": {}}", "{\"a\": {\"password_encrypted\": 7}}", "[]"}) {
        WriteFile(varn::path::kPasswords, text);
        EXPECT_EQ(VARNAudioPasswordGet("a", out, sizeof out), -1) << text;
        EXPECT_TRUE(Log().empty()) << text;
    }
    for (const char *cipher : {"", "!", "AAAA", "AAAAA", "Ag", "////"}) {
        ClearLog();
        WriteFile(varn::path::kPasswords,
                  "{\"a\": {\"password_encrypted\": \"" + std::string(cipher) + "\"}}");
        EXPECT_EQ(VARNAudioPasswordGet("a", out, sizeof out), -1) << cipher;
        EXPECT_TRUE(Logged("audiolib/password:[0-9]+ Failed to decrypt password$")) << cipher;
    }
    EXPECT_STREQ(out, "before");
    for (const char *text : {"{", "[]", "null"}) {
        ClearLog();
        WriteFile(varn::path::kPasswords, text);
        EXPECT_EQ(VARNAudioPasswordSet("a", "b"), -1) << text;
        EXPECT_TRUE(Logged("audiolib/password:[0-9]+ Failed to get password json\\.$")) << text;
    }
    std::filesystem::remove(At(varn::path::kPasswords));
    EXPECT_EQ(VARNAudioPasswordGet("a", out, sizeof out), -1);
    EXPECT_TRUE(Logged("audiolib/password:[0-9]+ Failed to get custom json\\.$"));
    ClearLog();
    for (const int result :
         {VARNAudioPasswordGet(nullptr, out, 9), VARNAudioPasswordGet("", out, 9),
          VARNAudioPasswordGet("a", nullptr, 9), VARNAudioPasswordGet("a", out, 0),
          VARNAudioPasswordGet("a", out, -1), VARNAudioPasswordSet(nullptr, "b"),
          VARNAudioPasswordSet("a", ""), VARNAudioPasswordSet("", "b"),
          VARNAudioPasswordSet("a", nullptr)}) {
        EXPECT_EQ(result, -1);
    }
    EXPECT_EQ(Log().size(), 9U);
    EXPECT_TRUE(Logged("audiolib/password:[0-9]+ Bad parameter$"));
}

TEST_F(Stores, SelectionsRememberDevicesThatWereSelectedBefore) {
    WriteFile(varn::path::kMultiAirplay, "{\"a\": true, \"b\": true, \"c\": \"odd\"}");
    Json::Value devices(Json::arrayValue);
    for (const Json::Value &device : {Json::Value("a"), Json::Value("d \"%\\"), Json::Value(5),
                                      Json::Value(), Json::Value("a")}) {
        devices.append(device);
    }
    ASSERT_EQ(VARNAudioMultiPlayerSet(MULTI_PLAYER_AIRPLAY, devices), 0);
    EXPECT_EQ(ReadFile(At(varn::path::kMultiAirplay)),
              "{\"a\":true,\"b\":false,\"c\":false,\"d \\\"%\\\\\":true}\n");
    ASSERT_EQ(VARNAudioMultiPlayerUnsetOne(MULTI_PLAYER_AIRPLAY, "a"), 0);
    ASSERT_EQ(VARNAudioMultiPlayerUnsetOne(MULTI_PLAYER_AIRPLAY, "new"), 0);
    Json::Value json;
    ASSERT_EQ(VARNAudioMultiPlayerLoad(MULTI_PLAYER_AIRPLAY, json), 0);
    EXPECT_FALSE(json["a"].asBool());
    EXPECT_TRUE(json.isMember("new"));
    EXPECT_EQ(ReadFile(At(varn::path::kMultiBluetooth)), "{}\n") << "the other type's file";
    ASSERT_EQ(VARNAudioMultiPlayerSet(MULTI_PLAYER_BLUETOOTH, Json::Value(Json::arrayValue)), 0);
    EXPECT_EQ(ReadFile(At(varn::path::kMultiBluetooth)), "{}\n");
}

TEST_F(Stores, SelectionsThatCannotBeHad) {
    const Json::Value none(Json::arrayValue);
    Json::Value json;
    for (const int type : {2, -1}) {
        ClearLog();
        EXPECT_EQ(VARNAudioMultiPlayerLoad(type, json), -1);
        EXPECT_EQ(VARNAudioMultiPlayerSave(type, json), -1);
        EXPECT_EQ(VARNAudioMultiPlayerSet(type, none), -1);
        EXPECT_TRUE(Logged("audiolib/multi_airplay:[0-9]+ Wrong multiple player type!$"));
    }
    for (const char *text : {"", "[]", "true", "{\"a\":"}) {
        ClearLog();
        WriteFile(varn::path::kMultiAirplay, text);
        EXPECT_EQ(VARNAudioMultiPlayerSet(MULTI_PLAYER_AIRPLAY, none), -1) << text;
        EXPECT_TRUE(
            Logged("audiolib/multi_airplay:[0-9]+ Failed to load multiple player selection "
                   "config$"));
        EXPECT_EQ(VARNAudioMultiPlayerUnsetOne(MULTI_PLAYER_AIRPLAY, "a"), -1) << text;
        EXPECT_TRUE(Logged("Failed to load multiple AirPlay selection config$"));
        EXPECT_EQ(ReadFile(At(varn::path::kMultiAirplay)), text);
    }
    WriteFile(varn::path::kMultiAirplay, "{\"a\": true}");
    for (const Json::Value &list :
         {Json::Value(), Json::Value("a"), Json::Value(Json::objectValue)}) {
        EXPECT_EQ(VARNAudioMultiPlayerSet(MULTI_PLAYER_AIRPLAY, list), -1);
    }
    EXPECT_EQ(VARNAudioMultiPlayerUnsetOne(MULTI_PLAYER_AIRPLAY, nullptr), -1);
    EXPECT_EQ(ReadFile(At(varn::path::kMultiAirplay)), "{\"a\": true}");
}

TEST_F(Stores, DigestsInBothCases) {
    char out[33];
    ASSERT_EQ(VARNAudioGetMd5("abc", out, false), 0);
    EXPECT_STREQ(out, "900150983cd24fb0d6963f7d28e17f72");
    ASSERT_EQ(VARNAudioGetMd5("abc", out, true), 0);
    EXPECT_STREQ(out, "900150983CD24FB0D6963F7D28E17F72");
    ASSERT_EQ(VARNAudioGetMd5("", out, false), 0);
    EXPECT_STREQ(out, "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(VARNAudioGetMd5(nullptr, out, false), -1);
    EXPECT_EQ(VARNAudioGetMd5("abc", nullptr, false), -1);
}

}  // namespace
