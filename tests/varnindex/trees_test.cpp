// Runs the scripts of trees.h.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "varn/host.h"
#include "varnindex/scan_fixture.h"
#include "varnindex/settle/stars.h"
#include "varnindex/trees.h"

namespace {

using namespace tonvale_test;

class TreesTest : public ScanTest, public testing::WithParamInterface<TreeCase> {
  protected:
    static fs::path At(const std::string &name) {
        const std::size_t slash = name.find('/');
        const fs::path path = name.starts_with('~') ? Home(name.substr(1, slash - 1)) / "music" /
                                                          name.substr(slash + 1)
                                                    : Music() / name;
        const std::string text = path.lexically_normal().string();
        return text.ends_with('/') ? text.substr(0, text.size() - 1) : text;
    }

    static std::string NameOf(const std::string &path) {
        for (const char *user : {"alice", "bob"}) {
            const std::string music = (Home(user) / "music/").string();
            if (path.starts_with(music)) {
                return std::string("~") + user + "/" + path.substr(music.size());
            }
        }
        return fs::path(path).lexically_relative(Music());
    }

    void Put(const fs::path &path, const std::string &title) {
        const std::size_t slash = title.find('/');
        const char sound = slash == title.npos ? title.front() : title.at(slash + 1);
        PutTagged(path.lexically_relative(Music()), title.substr(0, slash));
        std::ofstream(path, std::ios::app)
            << std::string(static_cast<unsigned>(sound) * 10U, sound);
    }

    // "PATH" or "PATH#TRACK" of each row, by id.
    static std::map<int, std::string> NamesOf(const std::string &table) {
        std::map<int, std::string> names;
        for (const auto &row : Query(table)) {
            names[std::stoi(row[0])] = NameOf(row[1]) + (row[2] == "-1" ? "" : "#" + row[2]);
        }
        return names;
    }
    static std::map<int, std::string> Songs() {
        return NamesOf("SELECT id, path, CASE WHEN is_virtual THEN track ELSE -1 END FROM track");
    }
    static std::map<int, std::string> Lists() {
        return NamesOf(
            "SELECT id, path, -1 FROM playlist UNION ALL"
            " SELECT id, path, -1 FROM personal_playlist");
    }
    static std::string Stars(int id) {
        return Value(
            "SELECT coalesce(string_agg('*' || star, ''), '') FROM rating_track"
            " WHERE track = " +
            std::to_string(id));
    }

    static std::string Described(const std::map<int, std::string> &rows,
                                 const std::map<int, std::string> &origins) {
        std::map<std::string, std::string> sorted;
        for (const auto &[id, name] : rows) {
            const std::string &origin = origins.at(id);
            sorted[name] = (origin != name ? "<" + origin : "") + Stars(id);
        }
        std::string text;
        for (const auto &[name, more] : sorted) {
            text += (text.empty() ? "" : " ") + name + more;
        }
        return text;
    }

    void Index(std::istringstream &words, const std::string &expected) {
        Words arguments;
        for (std::string word; words >> word && word != "=>";) {
            arguments.push_back(word.starts_with("--") ? word : At(word).string());
        }
        last_ = IndexTest::Index(arguments, variables_);
        EXPECT_EQ(Shown(last_.status, last_.out), expected) << last_.err;
        songs_.merge(Songs());
        lists_.merge(Lists());
    }

    void Rebuild() {
        const auto byPath = [] {
            std::map<std::string, std::string> stars;
            for (const auto &[id, name] : Songs()) {
                stars[name] = Stars(id);
            }
            return stars;
        };
        const auto before = byPath();
        Query("DELETE FROM track");
        IndexTest::Index();
        EXPECT_EQ(byPath(), before);
        songs_ = Songs();
    }

    void Change(const std::string &command, const std::string &first, const std::string &second) {
        const fs::path path = At(first);
        const fs::path to = command == "mv" || command == "cp" || command == "ln" ? At(second) : "";
        fs::create_directories((to.empty() ? path : to).parent_path());
        if (command == "put") {
            Put(path, second);
        } else if (command == "sample") {
            fs::copy_file(Samples() / second, path);
        } else if (command == "sheet") {
            std::ofstream(fs::path(path).replace_extension("cue")) << Sheet(path.filename(), first);
        } else if (command == "write") {
            std::ofstream(path) << second;
        } else if (command == "mv") {
            fs::rename(path, to);
        } else if (command == "cp") {
            fs::copy(path, to, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
        } else if (command == "rm") {
            fs::remove_all(path);
        } else if (command == "dir") {
            fs::create_directory(path);
        } else if (command == "ln") {
            fs::create_symlink(path, to);
        } else {
            FAIL() << "unknown command " << command;
        }
    }

    void Run(std::string line) {
        SCOPED_TRACE(line);
        variables_.clear();
        if (line.starts_with("other ")) {
            variables_ = {"TONVALE_ROOT=" + Other().string(),
                          "PGHOST=" + SystemTest::At(varn::path::kDatabaseSocketDir).string()};
            line.erase(0, 6);
        }
        std::istringstream words(line);
        std::string command;
        words >> command;
        const std::size_t arrow = line.find("=>");
        const std::string expected =
            arrow == line.npos || arrow + 3 > line.size() ? "" : line.substr(arrow + 3);
        if (command == "index") {
            Index(words, expected);
        } else if (arrow != line.npos) {
            EXPECT_EQ(Shown(command), expected);
        } else if (command == "rebuild") {
            Rebuild();
        } else if (command == "says") {
            ExpectSaid(last_, line.substr(5));
        } else if (command == "register") {
            RegisterAll(words);
        } else {
            Do(command, words);
        }
    }

    using ScanTest::Shown;
    std::string Shown(const std::string &what) const {
        return what == "rows"     ? Described(Songs(), songs_)
               : what == "lists"  ? Described(Lists(), lists_)
               : what == "owners" ? Owners()
               : what == "known-folders"
                   ? NameOf(ReadFile(KnownFolders()).substr(0, ReadFile(KnownFolders()).size() - 1))
                   : Value(what == "places" ? "SELECT (SELECT count(*) FROM directory) || ' ' ||"
                                              " (SELECT count(*) FROM playlist) || ' ' ||"
                                              " (SELECT count(*) FROM personal_directory)"
                                            : "SELECT count(*) FROM outbox");
    }

    void RegisterAll(std::istringstream &words) {
        std::string text;
        for (std::string folder; words >> folder;) {
            text += At(folder).string() + "\n";
        }
        Touch((variables_.empty() ? root() : Other()) / varn::path::kIndexFolders.substr(1), text);
    }

    void Do(const std::string &command, std::istringstream &words) {
        std::string first;
        std::string second;
        std::string user = "1030";
        words >> first >> std::ws;
        if (command == "write") {
            std::getline(words, second);
            std::replace(second.begin(), second.end(), '|', '\n');
        }
        words >> second >> user;
        if (command == "homes") {
            EnableHomes(first == "on");
        } else if (command == "account") {
            SetAccount(first == "back");
        } else if (command == "pass-over") {
            ASSERT_EQ(VARNAudioConfSet("passed_over_names", first.c_str()), 0);
        } else if (command == "configuration") {
            fs::remove(SystemTest::At(varn::path::kPackageConf));
        } else if (command == "roots") {
            first == "two" ? MakeOtherRoot() : UseDatabase(varn::host::DatabaseKind::kPrivate);
        } else if (command == "known-folders") {
            fs::remove(KnownFolders());
            if (first == "unreadable") {
                fs::create_directory(KnownFolders());
            }
        } else if (command == "due") {
            Query("INSERT INTO outbox (song, number, path) VALUES (0, -1, '" + At(first).string() +
                  "')");
        } else if (command == "star") {
            Star(first, second, user);
        } else {
            Change(command, first, second);
        }
    }

    static fs::path Other() { return scratch() / "other"; }
    static fs::path KnownFolders() { return SystemTest::At(varn::path::kIndexedList); }
    static void UseDatabase(varn::host::DatabaseKind kind) {
        ASSERT_TRUE(varn::host::ChooseDatabase(kind));
    }

    // A second root, without homes, that uses the server of the fixture's root.
    static void MakeOtherRoot() {
        EnableHomes(false);
        UseDatabase(varn::host::DatabaseKind::kExternal);
        for (const char *folder : {"etc", "etc.defaults", "usr", "var/packages"}) {
            fs::create_directories((Other() / folder).parent_path());
            fs::copy(root() / folder, Other() / folder,
                     fs::copy_options::recursive | fs::copy_options::copy_symlinks);
        }
    }

    // Rates a song in the library and in its record, as the web API does.
    void Star(const std::string &name, const std::string &stars, const std::string &user) {
        for (const auto &[id, row] : Songs()) {
            if (row == name) {
                Query("INSERT INTO rating_track (userid, track, star) VALUES (" + user + ", " +
                      std::to_string(id) + ", " + stars + ")");
            }
        }
        std::string record = At(name).string();
        if (const std::size_t hash = record.find('#'); hash != record.npos) {
            record[hash] = '_';
        }
        std::vector<varnindex::Star> all = varnindex::ReadStars(record);
        all.push_back({std::stoi(user), std::stoi(stars)});
        EXPECT_TRUE(varnindex::StoreStars(record, all));
    }

    // Puts alice's account back, or takes it away.
    void SetAccount(bool isThere) {
        if (accounts_.empty()) {
            accounts_ = ReadFile(SystemTest::At(varn::path::kPasswd));
        }
        std::string text = accounts_;
        const std::size_t entry = text.find("alice:");
        ASSERT_NE(entry, text.npos);
        WriteFile(varn::path::kPasswd,
                  isThere ? text : text.erase(entry, text.find('\n', entry) + 1 - entry));
    }

    // The owners of all songs, lists and folders.
    static std::string Owners() {
        return Value(
            "SELECT coalesce(string_agg(userid::text, ' '), '') FROM (SELECT userid FROM track"
            " UNION ALL SELECT 0 FROM playlist UNION ALL SELECT userid FROM personal_playlist"
            " UNION ALL SELECT userid FROM personal_directory UNION ALL SELECT 0 FROM directory"
            " WHERE title = 'music') r");
    }

    Finished last_;
    Words variables_;                   // the environment that names the other root
    std::map<int, std::string> songs_;  // where each was first
    std::map<int, std::string> lists_;
    std::string accounts_;
};

TEST_P(TreesTest, BecomeRows) {
    std::istringstream script(GetParam().script);
    for (std::string line; std::getline(script, line);) {
        Run(line.substr(line.find_first_not_of(' ')));
    }
}

INSTANTIATE_TEST_SUITE_P(, TreesTest, testing::ValuesIn(kTreeCases),
                         [](const auto &test) { return std::string(test.param.name); });

}  // namespace
