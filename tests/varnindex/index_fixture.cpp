#include "varnindex/index_fixture.h"

#include <taglib/id3v2tag.h>

#include <regex>

namespace tonvale_test {

void IndexTest::SetUp() {
    DatabaseTest::SetUp();
    Samples();
    fs::create_directory(Music());
    Register({Music()});
}

void IndexTest::Register(const std::vector<Path> &folders) {
    std::string text;
    for (const Path &folder : folders) {
        text += folder.string() + "\n";
    }
    WriteFile(varn::path::kIndexFolders, text);
}

Finished IndexTest::Index(const Words &arguments, const Words &variables) {
    return Command(arguments, "", "varnindex", variables).Wait();
}

std::string IndexTest::Shown(int status, const std::string &summary) {
    std::string shown = summary.substr(0, summary.find('\n'));
    for (const char *empty : {R"(\b\w+ 0\b(, )?)", ", (?=;|$)", ";?[a-z ]+: (?=;|$)", "^; "}) {
        shown = std::regex_replace(shown, std::regex(empty), "");
    }
    return (status == 0 ? "" : status == 1 ? "!" : "?") + shown;
}

void IndexTest::Expect(const Finished &run, const std::string &expected) {
    const bool isWhole = expected.find(':') != expected.npos;
    EXPECT_EQ(Shown(run.status, isWhole ? run.out : run.out.substr(0, run.out.find(';'))), expected)
        << run.err;
}

IndexTest::Path IndexTest::Put(const std::string &name, const std::string &sample) {
    const Path path = Music() / name;
    fs::create_directories(path.parent_path());
    fs::copy_file(Samples() / sample, path, fs::copy_options::overwrite_existing);
    return path;
}

IndexTest::Path IndexTest::PutTagged(const std::string &name, const std::string &title,
                                     const std::string &genre) {
    TagLib::ID3v2::Tag tag;
    tag.setTitle({title, TagLib::String::UTF8});
    tag.setGenre({genre, TagLib::String::UTF8});
    const TagLib::ByteVector bytes = tag.render();
    Touch(Music() / name,
          std::string(bytes.data(), bytes.size()) + ReadFile(Samples() / "plain.mp3"));
    return Music() / name;
}

IndexTest::Rows IndexTest::Everything() {
    return Query(
        "SELECT t::text, a::text, r::text, c::text, g::text FROM track t"
        " LEFT JOIN album_track a ON a.track = t.id LEFT JOIN artist_track r ON r.track = t.id"
        " LEFT JOIN composer_track c ON c.track = t.id"
        " LEFT JOIN genre_track g ON g.track = t.id ORDER BY t.id, g.genre");
}

std::string IndexTest::SideRows() {
    return Value(
        "SELECT (SELECT count(*) FROM album_track) + (SELECT count(*) FROM artist_track)"
        " + (SELECT count(*) FROM composer_track) + (SELECT count(*) FROM genre_track)"
        " + (SELECT count(*) FROM replaygain_track)");
}

}  // namespace tonvale_test
