#include <fstream>
#include <set>
#include <sstream>

#include "dlna/media_server.h"
#include "support/environment.h"
#include "support/fixture.h"
#include "varnindex/samples.h"

namespace {

using namespace tonvale_test;

constexpr int kTracks = 230;

// It replaces the title of a tone and has as many bytes.
std::string Title(int track) {
    const std::string number = std::to_string(1000 + track).substr(1);
    return "静<&\"" + number;
}

// A folder of tones, made once per run.
const fs::path &Music() {
    static const fs::path folder = [] {
        const fs::path path = Environment::Folder() / "tones";
        fs::create_directory(path);
        MakeTone(path / "tone.mp3", "libmp3lame", true);
        std::ostringstream tone;
        tone << std::ifstream(path / "tone.mp3", std::ios::binary).rdbuf();
        fs::remove(path / "tone.mp3");
        constexpr std::string_view kTitle = "The Tóne";
        const std::size_t at = tone.str().find(kTitle);
        for (int track = 1; track <= kTracks; ++track) {
            std::ofstream(path / (std::to_string(track) + ".mp3"), std::ios::binary)
                << tone.str().replace(at, kTitle.size(), Title(track));
        }
        return path;
    }();
    return folder;
}

using RealServerTest = SystemTest;

// `first` becomes the id of the first track.
void ShowsItsTracksInPages(const MediaServer &server, const std::string &all, std::string &first) {
    std::set<std::string> titles;
    std::vector<std::size_t> pages;
    for (int start = 0; start < kTracks; start += 100) {
        DMAParser page;
        ASSERT_TRUE(server.Children(all, start, 100, page));
        pages.push_back(page.items.nodes().size());
        for (const auto &item : page.items.nodes()) {
            titles.insert(item->getValueByKey("title"));
            first = first.empty() ? item->getValueByKey("id") : first;
        }
    }
    EXPECT_EQ(pages, (std::vector<std::size_t>{100, 100, 30}));
    EXPECT_EQ(titles.size(), static_cast<std::size_t>(kTracks));
    EXPECT_TRUE(titles.contains(Title(1)) && titles.contains(Title(kTracks))) << *titles.begin();
}

void DescribesATrack(const MediaServer &server, const std::string &id) {
    DMABrowse browse(DMAGENT_BROWSE_METADATA, server.ControlUrl());
    browse.objectId = id;
    DMAParser metadata;
    ASSERT_EQ(browse.Perform(), 0);
    ASSERT_EQ(metadata.Parse(&browse), 0) << browse.response();
    EXPECT_EQ(metadata.count, 1);
    ASSERT_EQ(metadata.items.nodes().size(), 1u);
    const ItemNode &track = *metadata.items.nodes().front();
    EXPECT_EQ(track.getValueByKey("id"), id);
    const std::pair<const char *, const char *> kValues[] = {
        {"album", "A Test"}, {"originalTrackNumber", "3"}, {"nrAudioChannels", "2"}};
    for (const auto &[key, value] : kValues) {
        EXPECT_EQ(track.getValueByKey(key), value) << key;
    }
    EXPECT_GT(std::stoi(track.getValueByKey("size")), 1000);
    EXPECT_TRUE(track.getValueByKey("duration").starts_with("0:00:01"));
    EXPECT_TRUE(track.getValueByKey("protocolInfo").starts_with("http-get:*:audio/mpeg:"));
    EXPECT_TRUE(track.getValueByKey("res").starts_with("http://127.0.0.1:"));
}

void AnswersTheOtherActions(const MediaServer &server) {
    const std::pair<DMAGENT_ACTION, const char *> kActions[] = {
        {DMAGENT_GET_SEARCH_CAPABILITIES, "<SearchCaps>"},
        {DMAGENT_GET_SORT_CAPABILITIES, "<SortCaps>"},
        {DMAGENT_GET_SYSTEM_UPDATE_ID, "<Id>"}};
    for (const auto &[action, answer] : kActions) {
        DMAGet get(action, server.ControlUrl());
        EXPECT_EQ(get.Perform(), 0);
        EXPECT_NE(get.response().find(answer), std::string::npos) << get.response();
    }
}

// One test, because the server starts slowly.
TEST_F(RealServerTest, ShowsItsMusic) {
    const MediaServer server(scratch() / "home", Music());
    const std::string all = server.AllTracks(kTracks);
    ASSERT_NE(all, "");
    std::string first;
    ShowsItsTracksInPages(server, all, first);
    DescribesATrack(server, first);
    AnswersTheOtherActions(server);
}

}  // namespace
