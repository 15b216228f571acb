// Custom keys, passwords of players, and the players that play together.
#include <json/value.h>

#include "support/fixture.h"
#include "tonvale/settings.h"
#include "varn/crypt.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;

class Stores : public SystemTest {
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
    EXPECT_FALSE(fs::exists(At(varn::path::kCustomKeys)));

    ASSERT_EQ(VARNAudioCustomSet(4, "radio", "O'B \"%\\ \xC3\xA9\r\n", "title"), 0);
    Key key;
    ASSERT_EQ(key.Get(4), 0);
    EXPECT_EQ(key.All(), "radio|O'B \"%\\ \xC3\xA9\r\n|title");
    ASSERT_EQ(key.Get(1), 0);
    EXPECT_EQ(key.All(), "||");
    EXPECT_EQ(Stored(varn::path::kCustomKeys)["items"][3]["id"].asInt(), 4);

    for (const int index : {0, 5, -1, INT32_MIN}) {
        ClearLog();
        EXPECT_EQ(Key().Get(index), -1);
        EXPECT_EQ(VARNAudioCustomSet(index, "", "", ""), -1);
        EXPECT_TRUE(Logged("audiolib/custom_key:[0-9]+ Index out of range \\[" +
                           std::to_string(index) + "\\]$"));
    }
}

TEST_F(Stores, CustomKeysReplaceNoDamagedFile) {
    const auto change = [&](const char *text, bool hasNoItems = false) {
        SCOPED_TRACE(text);
        ClearLog();
        WriteFile(varn::path::kCustomKeys, text);
        Key key;
        const int result = key.Get(4);
        EXPECT_EQ(key.All(), result == 0 ? "||" : "T|V|N");
        const int set = VARNAudioCustomSet(4, "a", "b", "c");
        EXPECT_EQ(set == 0, result == 0 || hasNoItems);
        EXPECT_EQ(ReadFile(At(varn::path::kCustomKeys)) == text, set != 0);
        return result;
    };
    for (const char *text : {"{", ""}) {
        EXPECT_EQ(change(text), -1);
        EXPECT_TRUE(Logged("audiolib/custom_key:[0-9]+ Failed to get custom json\\.$"));
    }
    for (const auto &[text, hasNoItems] :
         {std::pair("{}", true), std::pair("null", true), std::pair("{\"items\": null}", true),
          std::pair("[]", false), std::pair("7", false),
          std::pair("{\"items\": {\"3\": 1}}", false)}) {
        EXPECT_EQ(change(text, hasNoItems), -1);
        EXPECT_TRUE(Logged("audiolib/custom_key:[0-9]+ Invalid json file$"));
    }
    for (const char *text : {"{\"items\": []}", "{\"items\": [1, \"x\", [], null]}",
                             "{\"items\": [{}, {}, {}, {\"type\": 5, \"title\": []}]}"}) {
        EXPECT_EQ(change(text), 0);
        Key key;
        ASSERT_EQ(key.Get(4), 0);
        EXPECT_EQ(key.All(), "a|b|c");
    }
}

TEST_F(Stores, PasswordsAreStoredEncryptedAndReadBack) {
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
    // A small buffer cuts the password and not the ciphertext.
    ASSERT_EQ(VARNAudioPasswordGet("Kitchen \"1\"", out, 5), 0);
    EXPECT_STREQ(out, "xxxx");
    ASSERT_EQ(VARNAudioPasswordSet("other", "y"), 0);
    ASSERT_EQ(VARNAudioPasswordGet("Kitchen \"1\"", out, sizeof out), 0);
    EXPECT_EQ(out, std::string(200, 'x')) << "another name's password was touched";
}

TEST_F(Stores, PasswordsThatCannotBeReadOrStoredAreLogged) {
    char out[16] = "before";
    // Writes the file, then gets or sets a password. Returns the log.
    const auto failed = [&](const char *text, bool sets) {
        WriteFile(varn::path::kPasswords, text);
        ClearLog();
        EXPECT_EQ(sets ? VARNAudioPasswordSet("a", "b") : VARNAudioPasswordGet("a", out, 16), -1);
        return LogTexts(Log());
    };
    for (const char *text :
         {"{}", "{\"a\": 5}", "{\"a\": {}}", "{\"a\": {\"password_encrypted\": 7}}", "[]"}) {
        EXPECT_EQ(failed(text, false), "") << text;
    }
    for (const std::string cipher : {"", "!", "AAAA", "AAAAA", "Ag", "Ag==", "////"}) {
        EXPECT_EQ(failed(("{\"a\": {\"password_encrypted\": \"" + cipher + "\"}}").c_str(), false),
                  "audiolib/password:# Failed to decrypt password\n");
    }
    EXPECT_STREQ(out, "before");
    for (const char *text : {"{", "[]", "null"}) {
        EXPECT_TRUE(
            failed(text, true).ends_with("audiolib/password:# Failed to get password json.\n"))
            << text;
    }
    fs::remove(At(varn::path::kPasswords));
    EXPECT_EQ(VARNAudioPasswordGet("a", out, sizeof out), -1);
    EXPECT_TRUE(Logged("audiolib/password:[0-9]+ Failed to get custom json\\.$"));
    ClearLog();
    for (const int result :
         {VARNAudioPasswordGet(nullptr, out, 9), VARNAudioPasswordGet("a", out, 0),
          VARNAudioPasswordSet("a", ""), VARNAudioPasswordSet("", "b")}) {
        EXPECT_EQ(result, -1);
    }
    EXPECT_EQ(Log().size(), 4U);
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

TEST_F(Stores, SelectionsReplaceNoDamagedFile) {
    const Json::Value none(Json::arrayValue);
    Json::Value json;
    EXPECT_EQ(VARNAudioMultiPlayerLoad(2, json), -1);
    EXPECT_EQ(VARNAudioMultiPlayerSave(-1, json), -1);
    EXPECT_TRUE(Logged("audiolib/multi_airplay:[0-9]+ Wrong multiple player type!$"));
    for (const char *text : {"", "[]", "true", "{\"a\":"}) {
        ClearLog();
        WriteFile(varn::path::kMultiAirplay, text);
        EXPECT_EQ(VARNAudioMultiPlayerSet(MULTI_PLAYER_AIRPLAY, none), -1) << text;
        EXPECT_EQ(VARNAudioMultiPlayerUnsetOne(MULTI_PLAYER_AIRPLAY, "a"), -1) << text;
        EXPECT_TRUE(
            Logged("audiolib/multi_airplay:[0-9]+ Failed to load multiple player selection "
                   "config$"));
        EXPECT_TRUE(Logged("Failed to load multiple AirPlay selection config$"));
        EXPECT_EQ(ReadFile(At(varn::path::kMultiAirplay)), text);
    }
    WriteFile(varn::path::kMultiAirplay, "{\"a\": true}");
    EXPECT_EQ(VARNAudioMultiPlayerUnsetOne(MULTI_PLAYER_AIRPLAY, nullptr), -1);
    EXPECT_EQ(ReadFile(At(varn::path::kMultiAirplay)), "{\"a\": true}");
    for (const Json::Value &list : {Json::Value(), Json::Value("a")}) {
        EXPECT_EQ(VARNAudioMultiPlayerSet(MULTI_PLAYER_AIRPLAY, list), 0);
        EXPECT_EQ(ReadFile(At(varn::path::kMultiAirplay)), "{\"a\":false}\n");
    }
}

}  // namespace
