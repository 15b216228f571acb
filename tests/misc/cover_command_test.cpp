#include <tuple>

#include "misc/cover_fixture.h"
#include "misc/pictures.h"
#include "programs/command.h"

namespace tonvale_test {

namespace {

class CoverCommandTest : public CoverTest {
  protected:
    static Json::Value Cover(const std::string &file) { return JsonOf({"cover", "--json", file}); }
    static std::string Results(const Json::Value &root) {
        std::string all;
        for (const Json::Value &place : root["places"]) {
            all += place["place"].asString() + ": " + place["result"].asString() + "\n";
        }
        return all;
    }
};

TEST_F(CoverCommandTest, TellsWhichPictureAndWhy) {
    const Path song = Put(Music() / "al\xC3\xA9 [1]" / "song.mp3");
    const Path folder = song.parent_path();
    EXPECT_TRUE(Cover(song)["cover"].isNull());
    EXPECT_TRUE(Contains(Results(Cover(song)), "folder: no cover.jpg, folder.jpg or albumart.jpg"));
    EXPECT_TRUE(Contains(Results(Cover(song)), "tags: no file *APIC* in " + EaDir(song).string()));

    Put(folder / "Cover.jpg");
    EXPECT_EQ(Cover(song)["cover"].asString(), (folder / "Cover.jpg").string());
    EXPECT_EQ(Cover(folder)["cover"].asString(), (folder / "Cover.jpg").string());
    EXPECT_TRUE(Contains(Results(Cover(song)), "small copy: not made yet"));

    const Path mark = Put(folder / "song.no_image");
    EXPECT_TRUE(Contains(Results(Cover(song)), "marked as having none by " + mark.string()));
    EXPECT_TRUE(Cover(song)["cover"].isNull());

    Put(EaDir(song) / "APIC.jpg");
    EXPECT_EQ(Cover(song)["cover"].asString(), (EaDir(song) / "APIC.jpg").string());
}

TEST_F(CoverCommandTest, MakesTheSmallCopy) {
    const Path song = Put(Music() / "song.mp3");
    Put(Music() / "cover.jpg", "no picture");
    const Finished failed = Tonvale({"cover", "--scale", song});
    EXPECT_EQ(failed.status, 1);
    EXPECT_TRUE(Contains(failed.err, "could not be made")) << failed.err;
    Draw("900x900", Music() / "cover.jpg");
    ExpectSayings({{{"cover", "--scale", song}, 0, "VARNAUDIO_ART_NBAUDIO.jpg"}});
    EXPECT_TRUE(Contains(Results(Cover(song)), "small copy: ready"));
    SetTime(EaDir(song) / "VARNAUDIO_ART_NBAUDIO.jpg", 0);
    EXPECT_TRUE(Contains(Results(Cover(song)), "small copy: older than the picture"));
}

TEST_F(CoverCommandTest, WritesThePicture) {
    const Path song = Put(Music() / "song.mp3");
    const Path cover = Put(Music() / "cover.jpg", "\xFF\xD8\xFF picture");
    const Path page = Put(scratch() / "page" / "cover.jpg", "<html>");
    const Path out = scratch() / "out";
    EXPECT_EQ(Tonvale({"cover", song, "--output", out}).status, 0);
    EXPECT_EQ(ReadFile(out), ReadFile(cover));
    const std::tuple<std::vector<std::string>, int, const char *> kCases[] = {
        {{"cover", song, "--output", "/dev/full"}, 1, "cannot write /dev/full: No space left"},
        {{"cover", page.parent_path(), "--output", out}, 2, "cover.jpg is no picture"},
        {{"cover", Music() / "missing.mp3"}, 1, "there is no such file"},
        {{"cover"}, 2, ""},
        {{"cover", "--scale", Music()}, 2, "--scale"},  // a folder has no small copy
    };
    for (const auto &[arguments, status, message] : kCases) {
        const Finished run = Tonvale(arguments);
        EXPECT_EQ(run.status, status) << message;
        EXPECT_TRUE(Contains(run.err, message)) << run.err;
    }
    // A file that exists is replaced, and not written over.
    const Path earlier = Put(scratch() / "outputs" / "earlier", "earlier");
    const Path replaced = scratch() / "outputs" / "replaced";
    fs::create_hard_link(earlier, replaced);
    EXPECT_EQ(Tonvale({"cover", song, "--output", replaced}).status, 0);
    EXPECT_EQ(ReadFile(replaced), ReadFile(cover));
    EXPECT_EQ(ReadFile(earlier), "earlier");
}

}  // namespace

}  // namespace tonvale_test
