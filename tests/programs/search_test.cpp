// Searches, against a plain second implementation of their rule and in tables of cases.
#include "service/search/search.h"

#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/uniset.h>
#include <unicode/unistr.h>

#include <map>
#include <random>

#include "service/base/failure.h"
#include "support/fixture.h"
#include "tonvale/settings.h"
#include "varn/sql.h"

namespace tonvale_test {

namespace {

using namespace tonvale_service;
using Texts = std::vector<std::string>;

// Texts as they are compared.
icu::UnicodeString FormOf(const std::string &text) {
    UErrorCode error = U_ZERO_ERROR;
    static const icu::UnicodeSet dropped(
        "[\\u0300-\\u036F\\u0483-\\u0487\\u0591-\\u05BD\\u05BF\\u05C1\\u05C2\\u05C4\\u05C5\\u05C7"
        "\\u0610-\\u061A\\u064B-\\u065F\\u0670\\uFE00-\\uFE0F\\u200B-\\u200F\\u00AD]",
        error);
    static const std::map<UChar32, const char *> others = {
        {0xDF, "ss"}, {0xE6, "ae"}, {0x153, "oe"}, {0xF8, "o"}, {0x142, "l"},
        {0x111, "d"}, {0x131, "i"}, {0x2019, "'"}, {'\t', " "}};
    const icu::UnicodeString parts = icu::Normalizer2::getNFKDInstance(error)->normalize(
        icu::UnicodeString::fromUTF8(text), error);
    icu::UnicodeString kept;
    for (int32_t i = 0; i < parts.length(); i = parts.moveIndex32(i, 1)) {
        if (!dropped.contains(parts.char32At(i))) {
            kept.append(parts.char32At(i));
        }
    }
    kept.toLower(icu::Locale::getEnglish()).findAndReplace(u"\u03C2", u"\u03C3");
    icu::UnicodeString form;
    for (int32_t i = 0; i < kept.length(); i = kept.moveIndex32(i, 1)) {
        const auto other = others.find(kept.char32At(i));
        form.append(other != others.end() ? icu::UnicodeString(other->second)
                                          : icu::UnicodeString(kept.char32At(i)));
    }
    return icu::Normalizer2::getNFCInstance(error)->normalize(form, error);
}

std::vector<icu::UnicodeString> FormsOfWords(const std::string &keyword) {
    std::vector<icu::UnicodeString> words;
    std::string form;
    FormOf(keyword).toUTF8String(form);
    for (const std::string &word : Words(form)) {
        words.push_back(icu::UnicodeString::fromUTF8(word));
    }
    return words;
}

// With a blank for each mark between words, and one before the first.
icu::UnicodeString WordsOf(icu::UnicodeString form) {
    for (const char mark : std::string("!\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}~")) {
        form.findAndReplace(icu::UnicodeString(mark), u" ");
    }
    return u" " + form;
}

// 0: it does not match; else the rank.
int RankOf(const TrackRow &song, const std::string &keyword) {
    std::string genres;
    for (const std::string &genre : song.genres) {
        genres += (genres.empty() ? "" : ", ") + genre;
    }
    bool begins = true;
    icu::UnicodeString whole;
    const std::vector<icu::UnicodeString> words = FormsOfWords(keyword);
    for (const icu::UnicodeString &word : words) {
        bool has = false, begun = false;
        for (const std::string &tag :
             {song.title, song.artist, song.album, song.album_artist, song.composer, genres}) {
            has = has || FormOf(tag).indexOf(word) >= 0;
            begun = begun || WordsOf(FormOf(tag)).indexOf(WordsOf(word)) >= 0;
        }
        if (!has) {
            return 0;
        }
        begins = begins && begun;
        whole.append(whole.isEmpty() ? u"" : u" ").append(word);
    }
    const icu::UnicodeString title = FormOf(song.title);
    return title == whole ? 1 : title.startsWith(whole) ? 2 : begins ? 3 : 4;
}

class SearchTest : public DatabaseTest {
  protected:
    // A statement that adds songs whose names are written in many ways.
    static std::string DifficultSongs() {
        std::string sql;
        for (const TrackRow &row : {
                 TrackRow{.id = 1, .title = "D\u00E4mmerung", .album = "Wei\u00DF & Blau"},
                 {.id = 2, .title = "Am Abend", .artist = "Wei\u00DF"},
                 {.id = 3, .title = "100%_ \\o/ 'quoted'", .composer = "Antonio Dvo\u0159a\u0301k"},
                 {.id = 4,
                 .title = "\u6771\u4EAC\u306E\u591C",
                 .genres = {"J-Pop", "\u30ED\u30C3\u30AF"}},
                 {.id = 5, .title = "Love", .album = "Ones"},
                 {.id = 6, .title = "Love Me Do", .artist = "\uFF21\uFF22\uFF23"},
                 {.id = 7, .title = "All You Need (Love)"},
                 {.id = 8, .title = "Glove", .artist = "\u0141\u00F3d\u017A \U0001F3B5"},
                 {.id = 9, .title = "\u05E9\u05C1\u05B8\u05DC\u05D5\u05B9\u05DD"},
                 {.id = 10, .userid = kBob, .title = "Love of Bob"},
             }) {
            sql += InsertSql(row);
        }
        return sql;
    }
    static ListRequest RequestOf(uid_t uid) {
        ListRequest request;
        request.library = "all";
        request.uid = uid;
        return request;
    }
    static std::vector<int> Songs(const ListRequest &request, const std::string &keyword,
                                  const std::string &field = "all") {
        const auto page = SearchSongs(request, keyword, field,
                                      Tonvale::webapi::WebapiLibrary(request.uid, "alice", ""));
        std::vector<int> ids;
        VARN_MEDIA_INFO song;
        while (MediaInfoDBGet(page->Rows(), &song) == 0) {
            ids.push_back(static_cast<int>(song.id));
        }
        EXPECT_TRUE(request.limit > 0 || page->Total() == static_cast<int64_t>(ids.size()));
        return ids;
    }
    static Texts Names(const std::string &kind, const std::string &keyword) {
        Texts names;
        for (const Json::Value &name : SearchGroups(kind, RequestOf(kAlice), keyword)->Next()) {
            names.push_back(name["name"].asString());
        }
        return names;
    }
};

TEST_F(SearchTest, FindsWhatPeopleMeanBestFirst) {
    Query(DifficultSongs());
    using Ids = std::vector<int>;
    for (const auto &[keyword, field, ids] :
         {std::tuple<std::string, const char *, Ids>("dammerung", "all", {1}),
          {"WEISS da\u0308mm", "all", {1}},
          {"blau weiss", "album", {1}},
          {"weiss", "all", {2, 1}},
          {"weiss", "title", {}},
          {"weiss", "artist", {2}},
          {"%_", "all", {3}},
          {"\\O/ '", "title", {3}},
          {"dvorak", "composer", {3}},
          {"\u4EAC\u306E", "all", {4}},
          {"\u591C", "title", {4}},
          {"\uFF9B\uFF6F\uFF78", "genre", {4}},
          {"\uFF4Cove", "all", {5, 6, 7, 8}},
          {"abc do", "all", {6}},
          {"(love", "all", {7}},
          {"lodz \U0001F3B5", "all", {8}},
          {"\u200F\u05E9\u05DC\u05D5\u05DD", "all", {9}},
          {"love bob", "all", {}}}) {
        EXPECT_EQ(Songs(RequestOf(kAlice), keyword, field), ids) << keyword << " in " << field;
    }
    ListRequest page = RequestOf(kAlice);
    page.limit = page.offset = 2;
    EXPECT_EQ(Songs(page, "love"), (Ids{7, 8}));
    page.filters.album = "Ones";
    page.offset = 0;
    EXPECT_EQ(Songs(page, "love"), Ids{5});
    page.filters.album.reset();
    page.sortBy = "title";
    page.descending = true;
    EXPECT_EQ(Songs(page, "love"), (Ids{6, 5}));

    EXPECT_EQ(Names("albums", "blau"), Texts{"Wei\u00DF & Blau"});
    EXPECT_EQ(Names("artists", "weiss"), Texts{"Wei\u00DF"});
    EXPECT_EQ(Names("artists", "love"), Texts());
    EXPECT_EQ(Names("composers", "ANTONIO dvor"), Texts{"Antonio Dvo\u0159a\u0301k"});
    for (const std::string &nothing :
         {std::string(), std::string(" \t\u3000"), std::string("\u0301\u200F"),
          std::string("a\0b", 3), std::string("\xFF"), std::string(401, 'a')}) {
        EXPECT_THROW(Songs(RequestOf(kAlice), nothing), Failure) << nothing;
    }
    EXPECT_EQ(Songs(RequestOf(kAlice), std::string(400, '%')), Ids());
}

// A random library, changed at random, and what is found in it.
class RandomLibrary {
  public:
    // A statement that changes something.
    std::string Change() {
        const int id = Below(12) + 1;
        if (songs_.count(id) == 0) {
            TrackRow row{.id = id, .title = Text(), .album = Text(), .artist = Text()};
            row.userid = Below(2) == 0 ? 0 : 1030 + static_cast<unsigned>(Below(2));
            row.album_artist = Below(2) == 0 ? Text() : "";
            row.composer = Text();
            row.genres = {Text() + "1", Text() + "2"};
            row.is_virtual = Below(3) == 0;
            row.path = "/m/" + std::to_string(Below(4));
            row.has_virtual = !row.is_virtual && Below(3) == 0 && !IsSplit(row.path);
            songs_[id] = row;
            return InsertSql(row);
        }
        TrackRow &row = songs_[id];
        const std::string text = Text();
        const auto set = [&](const char *table, const char *key, const std::string &what,
                             const std::string &value) {
            return "UPDATE " + std::string(table) + " SET " + what + " = " +
                   *varn::Sql("'@VARN:VAR'", value) + " WHERE " + key + " = " + std::to_string(id);
        };
        switch (Below(8)) {
            case 0:
                songs_.erase(id);
                return "DELETE FROM track WHERE id = " + std::to_string(id);
            case 1:
                row.userid = row.userid == 0 ? 1030 : 0;
                return set("track", "id", "userid", std::to_string(row.userid));
            case 2:
                row.path = "/m/" + std::to_string(row.has_virtual ? 10 + id : Below(4));
                return set("track", "id", "path", row.path);
            case 3:
                row.has_virtual = !row.is_virtual && !IsSplit(row.path);
                return set("track", "id", "has_virtual", row.has_virtual ? "t" : "f");
            case 4:
                row.album = text;
                return set("album_track", "track", "album", text);
            case 5:
                row.artist = text;
                return set("artist_track", "track", "artist", text);
            case 6:
                row.composer = text;
                return set("composer_track", "track", "composer", text);
            default:
                row.title = text;
                return "UPDATE track SET " +
                       *varn::Sql("title = '@VARN:VAR', title_sort = '@VARN:VAR'", text, text) +
                       " WHERE id = " + std::to_string(id);
        }
    }

    // `byTitle` has all the ids.
    std::vector<int> Find(const std::string &keyword, unsigned uid,
                          const std::vector<int> &byTitle) const {
        std::multimap<int, int> found;
        for (const int id : byTitle) {
            const TrackRow &row = songs_.at(id);
            if (const int rank = IsSeen(row, uid) ? RankOf(row, keyword) : 0; rank > 0) {
                found.emplace(rank, id);
            }
        }
        std::vector<int> ids;
        for (const auto &[rank, id] : found) {
            ids.push_back(id);
        }
        return ids;
    }

    std::string Text() {
        static const Texts parts = {"a",      "B",  "ab ",    "\u00C4", "a\u0308", " ",
                                    "\u00DF", "ss", "\uFF21", "(",      "%",       "'",
                                    "\u4EAC", "v",  "\u00D8", "_",      "\\",      "\u0130"};
        std::string text;
        for (int count = Below(5); count >= 0; --count) {
            text += parts[static_cast<std::size_t>(Below(static_cast<int>(parts.size())))];
        }
        return text;
    }

  private:
    int Below(int end) { return std::uniform_int_distribution<int>(0, end - 1)(random_); }

    bool IsSeen(const TrackRow &row, unsigned uid) const {
        return (row.userid == 0 || row.userid == uid) &&
               (row.is_virtual ? IsSplit(row.path) : !row.has_virtual);
    }

    // The database shows a track twice whose path two such files have.
    bool IsSplit(const std::string &path) const {
        return std::any_of(songs_.begin(), songs_.end(), [&](const auto &song) {
            return song.second.has_virtual && song.second.path == path;
        });
    }

    std::mt19937 random_{20};
    std::map<int, TrackRow> songs_;
};

TEST_F(SearchTest, AgreesWithAPlainSearchWhileSongsChange) {
    RandomLibrary library;
    for (int round = 0; round < 50; ++round) {
        std::string sql;
        for (int change = 0; change < 4; ++change) {
            sql += library.Change() + ";";
        }
        Query(sql);
        const std::string keyword = library.Text() + " " + library.Text();
        if (FormsOfWords(keyword).empty()) {
            continue;
        }
        std::vector<int> byTitle;
        for (const auto &row :
             Query("SELECT id FROM track ORDER BY title_sort COLLATE \"en_US_varnel\", id")) {
            byTitle.push_back(std::stoi(row[0]));
        }
        ASSERT_EQ(Songs(RequestOf(kAlice), keyword), library.Find(keyword, kAlice, byTitle))
            << round << " '" << keyword << "'";
    }
    EXPECT_EQ(Value("SELECT count(*) FROM tag_text t WHERE NOT EXISTS"
                    " (SELECT FROM song_text s WHERE s.tags = t.id)"),
              "0");
}

}  // namespace

}  // namespace tonvale_test
