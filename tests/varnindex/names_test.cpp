#include "varnindex/read/names.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "varn/text.h"

namespace {

using namespace std::string_literals;
using namespace varnindex;

using Cases = std::vector<std::pair<std::string, std::string>>;

TEST(Names, ForeignBytesBecomeOneCleanLine) {
    const Cases cases = {
        {"Déjà vu 夜 \U0001F3B5", "Déjà vu 夜 \U0001F3B5"},
        {"  two\r\nlines\t", "two  lines"},
        {"a\0b"s, "a b"},
        {"\xC2\x85next", "next"},                          // a control character of two bytes
        {"lat\xEFn", "lat\uFFFDn"},                        // another encoding
        {"cut \xE5\xA4", "cut \uFFFD\uFFFD"},              // a character without its end
        {"\xC0\x80", "\uFFFD\uFFFD"},                      // overlong forms
        {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},            // a surrogate
        {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},  // after the last character
    };
    for (const auto &[raw, clean] : cases) {
        EXPECT_EQ(CleanName(raw), clean);
        EXPECT_TRUE(varn::IsUtf8(CleanName(raw)));
        EXPECT_EQ(varn::IsUtf8(raw), clean.find("\uFFFD") == clean.npos);
    }
}

TEST(Names, ACutNameEndsWithAWholeCharacter) {
    std::string longName;
    for (int i = 0; i < 300; ++i) {
        longName += "é";
    }
    EXPECT_EQ(CleanName(longName), longName.substr(0, 2 * 255));
    EXPECT_EQ(CleanName(std::string(254, 'x') + " y"), std::string(254, 'x'));
    EXPECT_EQ(CleanComment(std::string(4094, 'x') + "é"), std::string(4094, 'x'));
    EXPECT_EQ(CleanComment(std::string(5000, 'x')).size(), 4095U);
}

TEST(Names, SortNamesLoseTheirArticle) {
    const Cases cases = {{"The Wall", "Wall"},   {"tHE  Wall", "Wall"},
                         {"A Day", "Day"},       {"an Hour", "Hour"},
                         {"The", "The"},         {"A", "A"},
                         {"Theatre", "Theatre"}, {"A-ha", "A-ha"},
                         {"The The", "The"},     {"", ""},
                         {"Ang Lee", "Ang Lee"}};
    for (const auto &[name, sorted] : cases) {
        EXPECT_EQ(SortName(name), sorted);
    }
}

TEST(Names, GenresAreSplitAndUnique) {
    using List = std::vector<std::string>;
    EXPECT_EQ(CleanGenres({"Rock; Jazz;;", "Rock", " R&B/Soul ", ";", ""}),
              (List{"Rock", "Jazz", "R&B/Soul"}));
    // Genres that differ only after the bound are one row of the library.
    const std::string longName(300, 'g');
    EXPECT_EQ(CleanGenres({longName + "1", longName + "2"}).size(), 1U);
    std::string many;
    for (int i = 0; i < 1000; ++i) {
        many += "genre " + std::to_string(i) + ";";
    }
    EXPECT_EQ(CleanGenres({many}).size(), 64U);
    EXPECT_LE(JoinGenres(CleanGenres({many})).size(), 255U);
}

}  // namespace
