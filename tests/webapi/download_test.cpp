// Downloads: a song under its name, and archives that unzip reads.
#include <fcntl.h>
#include <sys/mman.h>

#include <filesystem>
#include <fstream>

#include "service/downloads/zip_stream.h"
#include "webapi/api.h"

namespace {

using namespace tonvale_test;
using tonvale_service::ZipEntry;
using tonvale_service::ZipNames;
using tonvale_service::ZipStream;

// What unzip says.
std::string Unzip(std::vector<std::string> arguments) {
    const int out = memfd_create("out", MFD_CLOEXEC);
    arguments.insert(arguments.begin(), "unzip");
    EXPECT_TRUE(EndedWell(
        Spawn("/usr/bin/unzip", std::move(arguments), {"LC_ALL=C.UTF-8"}, {{out, 1}, {out, 2}})));
    const std::string text = TextOf(out);
    close(out);
    return text;
}

class DownloadApi : public ApiTest {
  protected:
    void SetUp() override {
        ApiTest::SetUp();
        WriteFile(varn::path::kIndexFolders, music().string() + "\n");
        int id = 0;
        std::string rows = FolderSql(90, music() / "a");
        for (const char *name : {"a/1.mp3", "a/b/\xC3\xA6 \"q'%.mp3", "c/1.mp3", "c/gone.mp3"}) {
            const fs::path path = music() / name;
            if (path.filename() != "gone.mp3") {
                Touch(path, std::string("sound of ") + name);
            }
            rows += InsertSql({.id = ++id, .path = path, .album = "A/\xC3\xA6", .track = id});
        }
        Query(rows + InsertSql({.id = 9, .userid = kBob, .path = "/home/bob/x.mp3"}));
    }
    static fs::path music() { return scratch() / "music"; }

    // The names in an archive, and what is wrong with it, by unzip.
    static std::string Unpack(const std::string &answer) {
        const std::string body = BodyOf(answer);
        const std::string header = answer.substr(0, answer.size() - body.size());
        EXPECT_TRUE(Contains(header, "Content-Length: " + std::to_string(body.size()) + "\r\n"))
            << header;
        const std::string file = scratch() / "archive.zip";
        Touch(file, body);
        return Unzip({"-Z1", file}) + Unzip({"-tqq", file});
    }
    static std::string Zip(const Given &given) { return GetCgi(QueryOf("Download/zip", given)); }
};

TEST_F(DownloadApi, SendsSongsAsFilesAndArchives) {
    const std::string song = GetCgi(QueryOf("Download/song?id=music_2"));
    EXPECT_TRUE(Contains(song,
                         "attachment; filename=\"__ _q'%.mp3\"; "
                         "filename*=UTF-8''%C3%A6%20_q%27%25.mp3\r\n"))
        << song;
    EXPECT_TRUE(song.ends_with("\r\n\r\nsound of a/b/\xC3\xA6 \"q'%.mp3"));
    const std::string second = "\xC3\xA6 _q'%.mp3\n";
    const struct {
        Given given;
        std::string names;
    } kCases[] = {
        {{{"album", "A/\xC3\xA6"}}, "1.mp3\n" + second + "1 (2).mp3\n"},
        {{{"artist", ""}, {"library", "all"}},
         "A_\xC3\xA6/1.mp3\nA_\xC3\xA6/" + second + "A_\xC3\xA6/1 (2).mp3\n"},
        {{{"id", "dir_90"}}, "a/1.mp3\na/b/" + second},
        {{{"songs", "music_3,music_1,music_3"}}, "1.mp3\n1 (2).mp3\n"},
    };
    for (const auto &[given, names] : kCases) {
        EXPECT_EQ(Unpack(Zip(given)), names);
    }
    EXPECT_EQ(Unzip({"-p", scratch() / "archive.zip", "1.mp3"}), "sound of c/1.mp3");
    EXPECT_TRUE(Contains(Zip({{"songs", "music_4"}}), "Status: 404")) << "its file is gone";
}

// 65535 entries need the format's larger fields.
TEST_F(DownloadApi, ArchivesHaveTheLengthThatTheyAnnounce) {
    const std::string file = scratch() / "archive.zip";
    for (const std::size_t count : {std::size_t{0}, std::size_t{3}, std::size_t{65535}}) {
        ZipNames names;
        std::vector<ZipEntry> entries;
        for (std::size_t i = 0; i < count; ++i) {
            entries.push_back({names.Add("same.mp3"), i == 1 ? 5U : 0U, std::time(nullptr)});
        }
        const ZipStream archive(entries);
        std::ofstream out(file, std::ios::binary);
        const std::string sound = scratch() / "five";
        Touch(sound, "five!");
        const auto write = [&](std::string_view bytes) { return bool(out << bytes); };
        const auto opened = [&](std::size_t) {
            return varn::UniqueFd(open(sound.c_str(), O_RDONLY | O_CLOEXEC));
        };
        EXPECT_TRUE(archive.Send(write, opened));
        out.close();
        EXPECT_EQ(fs::file_size(file), archive.Length());
        if (count > 0) {
            EXPECT_EQ(Unzip({"-tqq", file}), "");
            EXPECT_TRUE(Contains(Unzip({"-Zh", file}),
                                 "number of entries: " + std::to_string(count) + "\n"));
        }
        fs::resize_file(sound, 4);
        EXPECT_EQ(archive.Send([](std::string_view) { return true; }, opened), count == 0)
            << "a file became shorter";
    }
}

TEST(ZipNamesTest, FitEverySystem) {
    const std::pair<std::string, std::string> kCases[] = {
        {"/../.././a", "_/_/_/a"},
        {"A.MP3", "A.MP3"},
        {"a.mp3", "a (2).mp3"},
        {"a.mp3", "a (3).mp3"},
        {"x\\y:z*?\"<>|\n.ogg", "x_y_z_______.ogg"},
        {"con.mp3/Lpt1/com10", "_con.mp3/_Lpt1/com10"},
        {"dots. . /.hidden", "dots/.hidden"},
        {"\xFF\xC3\xA6", "\xEF\xBF\xBD\xC3\xA6"},
        {"", "_"},
    };
    ZipNames names;
    for (const auto &[path, name] : kCases) {
        EXPECT_EQ(names.Add(path), name);
    }
    std::string longest = "x";
    while (longest.size() < 300) {
        longest += "\xC3\xA6";
    }
    const std::string cut = names.Add(longest + ".flac");
    EXPECT_TRUE(cut.ends_with("\xA6.flac") && cut.size() >= 199 && cut.size() <= 200) << cut;
}

}  // namespace
