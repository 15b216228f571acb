// The description of the web API is complete, true, and served.
#include <set>

#include "entry/action.h"
#include "service/people/settings.h"
#include "sharing/shared_library.h"
#include "webapi/api.h"
#include "webapi/served.h"

namespace {

using namespace tonvale_test;
using tonvale_entry::AllApis;

// Collects the texts of a member, anywhere in a document.
void Collect(const Json::Value &value, const char *name, std::set<std::string> &found) {
    if (value.isObject() && value[name].isString()) {
        found.insert(value[name].asString());
    }
    for (const Json::Value &inner : value) {
        if (inner.isObject() || inner.isArray()) {
            Collect(inner, name, found);
        }
    }
}

TEST(Description, IsComplete) {
    const Json::Value &components = Description()["components"];
    std::set<std::string> references;
    Collect(Description(), "$ref", references);
    for (const std::string &reference : references) {
        const std::size_t slash = reference.rfind('/');
        const Json::Value &kind = components[reference.substr(13, slash - 13)];
        EXPECT_TRUE(kind.isMember(reference.substr(slash + 1)))
            << reference << " is in no table of schemas";
    }
    std::set<std::string> schemas;
    for (const tonvale_entry::Api *api : AllApis()) {
        EXPECT_FALSE(api->summary.empty()) << "the row of " << api->name << " has no summary";
        for (const tonvale_entry::Schema &schema : api->schemas) {
            const std::string name(schema.name);
            EXPECT_TRUE(schemas.insert(name).second) << name << " is there twice";
            EXPECT_TRUE(references.contains("#/components/schemas/" + name))
                << name << " is not used";
        }
        for (const tonvale_entry::Method &method : api->methods) {
            const std::string name = std::string(api->name) + "/" + std::string(method.name);
            EXPECT_FALSE(method.summary.empty()) << "the row of " << name << " has no summary";
            for (const tonvale_entry::Parameter &parameter : method.parameters) {
                EXPECT_FALSE(parameter.what.empty())
                    << parameter.name << " of " << name << " does not tell what it is";
            }
        }
    }
    const Json::Value set = ParametersOf(OperationAt("/VARN.Tonvale.Setting/set"));
    for (const auto &preference : tonvale_service::AllPreferences()) {
        EXPECT_TRUE(set.isMember(preference.name)) << preference.name;
    }
}

// Methods refuse the values that the description does not allow.
class DescribedBounds : public SharedLibraryTest, protected Api {
  protected:
    // Values that the schema of a parameter does not allow.
    static Texts BadValues(const Json::Value &schema) {
        if (schema["type"] == "array") {
            return BadValues(schema["items"]);
        }
        if (schema.isMember("anyOf")) {
            return BadValues(schema["anyOf"][1]);
        }
        if (schema["type"] == "integer") {
            return {std::to_string(schema["minimum"].asInt64() - 1),
                    std::to_string(schema["maximum"].asInt64() + 1), "1x"};
        }
        return schema.isMember("enum") || schema["type"] == "boolean" ? Texts{"perhaps"} : Texts();
    }
    // Values for the other parameters, without which a method does not read this one.
    Given Beside(const std::string &method, const std::string &parameter) const {
        const std::map<std::string, Given> kSpecial = {
            {"Song/rate", {{"id", Name(rock_)}}},    {"Playlist/remove", {{"position", "0"}}},
            {"Play/note", {{"songs", Name(rock_)}}}, {"Player/queue", {{"action", "delete"}}},
            {"Player/volume", {{"action", "set"}}},  {"Cover/get", {{"album", "x"}}}};
        const auto special = kSpecial.find(method);
        const bool isPage = parameter == "limit" || parameter == "offset";
        Given given = special != kSpecial.end() && !isPage ? special->second : Given();
        const Json::Value known = ParametersOf(OperationAt("/VARN.Tonvale." + method));
        for (const std::string &name : known.getMemberNames()) {
            const Json::Value &choices = known[name]["enum"];
            if (known[name]["isRequired"].asBool()) {
                given.emplace_back(name, !choices.empty() ? choices[0].asString()
                                         : method.starts_with("Playlist/") && name == "id"
                                             ? "playlist_shared_normal/12"
                                             : "1");
            }
        }
        std::set<std::string> seen = {parameter};
        std::erase_if(given, [&](const auto &one) { return !seen.insert(one.first).second; });
        return given;
    }
};

TEST_F(DescribedBounds, AreKeptByEachMethod) {
    WriteFile(varn::path::kUsersFile,
              "{\"" + std::to_string(tonvale_service::UidOf("admin")) +
                  R"(": {"sharing": true, "usb": true, "playlist": true}})");
    int asked = 0;
    for (const std::string &path : Description()["paths"].getMemberNames()) {
        const std::string method = path.substr(std::string("/VARN.Tonvale.").size());
        const Json::Value known = ParametersOf(OperationAt(path));
        for (const std::string &name : known.getMemberNames()) {
            for (const std::string &value : BadValues(known[name])) {
                Given given = Beside(method, name);
                given.emplace_back(name, value);
                const std::string answer =
                    GetCgi(QueryOf(method, given), {{"REMOTE_USER", "admin"}});
                const bool isRefused =
                    Contains(answer, "\"parameter\":\"" + name + "\"") ||
                    (method == "Sharing.Page/page" && answer.starts_with("Status: 404"));
                EXPECT_TRUE(isRefused) << method << " takes " << name << "=" << value
                                       << ", which its row does not describe: " << answer;
                ++asked;
            }
        }
    }
    EXPECT_GT(asked, 100);
}

class ServedDescription : public BothWays<Served> {};
INSTANTIATE_TEST_SUITE_P(, ServedDescription, kBothWays, NameOfWay);

TEST_P(ServedDescription, PathsAnswerLikeQueries) {
    AddSong();
    Serve();
    const bool isCgi = GetParam() == Way::kCgi;
    const std::string folder = isCgi ? "/webapi/entry.cgi" : "/webapi";
    const HttpAnswer told = Get(folder + "/openapi.json", isCgi ? Login("alice") : "");
    const Json::Value document = StrictJson(told.body);
    EXPECT_EQ(document["servers"][0]["url"], folder);
    EXPECT_EQ(document["components"], Description()["components"]);
    const std::string etag = FieldOf(told.header, "ETag");
    EXPECT_EQ(
        Get(folder + "/openapi.json", Login("alice") + "If-None-Match: " + etag + "\r\n").Status(),
        304);

    const auto ask = [&](const std::string &rest, const std::string &fields = Login("alice")) {
        return Get(folder + "/VARN.Tonvale." + rest, fields);
    };
    const HttpAnswer list = ask("Song/list?limit=7");
    EXPECT_EQ(list.Status(), 200);
    EXPECT_TRUE(list.Has("Content-Type: application/json; charset=utf-8")) << list.header;
    EXPECT_EQ(list.body, Get(Path("Song", "list&limit=7")).body);
    const HttpAnswer part = ask("Song/list?limit=7", Login("alice") + "Range: bytes=0-9\r\n");
    EXPECT_EQ(part.body, list.body) << "ranges are for media";
    EXPECT_EQ(ask("Info/get", Login("ghost")).Status(), 401) << "a login without an account";
    EXPECT_EQ(list.body, Get("/webapi/entry.cgi/VARN.Tonvale.Song/list?limit=7").body);
    EXPECT_TRUE(Contains(list.body, "\"title\":\"song\"")) << list.body;
    EXPECT_EQ(ask("Song/list", "").Status(), 401);
    const std::string rate = "Song/rate?id=music_1&rating=5";
    EXPECT_TRUE(
        Contains(ask(rate, Login("alice") + "Origin: http://evil\r\n").body, "\"code\":403"));
    EXPECT_EQ(Value("SELECT count(*) FROM rating_track"), "0");
    EXPECT_TRUE(Contains(ask(rate).body, "\"success\":true"));
    EXPECT_EQ(Value("SELECT count(*) FROM rating_track"), "1");
    for (const char *rest :
         {"Song/list?api=VARN.Tonvale.Sharing.Page", "Song/list?method=get", "Song/list?version=1",
          "Nothing/list", "Song/nothing", "Song", "Song/", "Song/list/", "Song/list/x",
          "Song/list%0A", "Song/li%26st", "Song%26x/list"}) {
        for (const std::string &fields : {Login("alice"), std::string()}) {
            EXPECT_FALSE(Contains(ask(rest, fields).body, "\"success\":true")) << rest;
        }
    }
}

}  // namespace
