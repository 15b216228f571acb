// Values in SQL.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>

#include "varn/db.h"
#include "varn/handles.h"

namespace {

TEST(Placeholders, AreFilledByTheirKind) {
    const auto fill = [](auto... arguments) {
        const varn::Text text(VARNDBEscapeStringEX3(1, arguments...));
        return std::string(text ? text.get() : "(null)");
    };
    EXPECT_EQ(fill("a = '@VARN:VAR'", "O'Br\\ien%_"), "a = 'O''Br\\ien%_'");
    EXPECT_EQ(fill("a = @VARN:INT AND b = @VARN:INT", -5, 0), "a = -5 AND b = 0");
    EXPECT_EQ(fill("@VARN:NEVAR ilike '%%@VARN:NEVAR%%'", "title", "O''Brien"),
              "title ilike '%O''Brien%'");
    EXPECT_EQ(fill("path like '@VARN:LVAR/%%'", "/m/a_b%\\'"), "path like '/m/a\\_b\\%\\\\''/%'");
    EXPECT_EQ(fill("100% %%% @VARN @VARN:"), "100% %% @VARN @VARN:");
    EXPECT_EQ(fill("'@VARN:VAR' '@VARN:VAR'", "@VARN:INT %%", "x"), "'@VARN:INT %%' 'x'")
        << "an argument is not a template";
    EXPECT_EQ(fill("@VARN:VARX", "v"), "vX");
    for (const char *bad :
         {"\xFF", "a\xC3", "\xC0\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82"}) {
        EXPECT_EQ(fill("'@VARN:VAR'", bad), "(null)");
    }
    EXPECT_EQ(fill("'@VARN:VAR'", "\xF0\x9F\x8E\xB5 \xED\x9F\xBF"),
              "'\xF0\x9F\x8E\xB5 \xED\x9F\xBF'");
    EXPECT_EQ(fill("'@VARN:VAR'", static_cast<const char *>(nullptr)), "(null)");
    EXPECT_EQ(VARNDBEscapeStringEX3(1, nullptr), nullptr);
    EXPECT_EQ(VARNDBEscapeStringEX3(2, "x"), nullptr);
}

TEST(Escaping, FillsABufferOrFails) {
    std::array<char, 16> out = {};
    EXPECT_EQ(VARNDBEscapeString("a'b''", out.data(), out.size()), 8);
    EXPECT_STREQ(out.data(), "a''b''''");
    EXPECT_EQ(VARNDBEscapeBackslash("a\\'", out.data(), out.size()), 4);
    EXPECT_STREQ(out.data(), "a\\\\'");
    EXPECT_EQ(VARNDBEscapeString("'''", out.data(), 7), 6);
    EXPECT_EQ(VARNDBEscapeString("'''", out.data(), 6), -1);
    EXPECT_STREQ(out.data(), "");
}

TEST(Escaping, DoublesBackslashesOnlyInPatterns) {
    const auto escaped = [](std::string buffer, std::size_t size) {
        buffer.resize(std::max(size, buffer.size() + 1));
        const int result = EscapeConditionEX(buffer.data(), size);
        return (result == 0 ? "" : "refused ") + std::string(buffer.c_str());
    };
    for (const char *kept : {"", "a = 'x\\y'", "\"like\" = 'x\\y'", "like_it = 'x\\y' or a like b",
                             "a = 'like' || 'x\\y'", "a LIKE E'x\\\\y'"}) {
        EXPECT_EQ(escaped(kept, 64), kept);
    }
    EXPECT_EQ(escaped("a LIKE 'x\\y'", 64), "a LIKE 'x\\\\y'");
    EXPECT_EQ(escaped("a not iLike\n( 'x\\y''z\\' ) and b = '\\'", 64),
              "a not iLike\n( 'x\\\\y''z\\\\' ) and b = '\\'");
    EXPECT_EQ(escaped("a LIKE 'x\\' || 'y\\'", 64), "a LIKE 'x\\\\' || 'y\\'");
    EXPECT_EQ(escaped("a LIKE '\\'", 11), "refused a LIKE '\\'");
    EXPECT_EQ(escaped("a LIKE '\\'", 12), "a LIKE '\\\\'");
    EXPECT_EQ(escaped("a LIKE 'open''", 64), "refused a LIKE 'open''");
}

}  // namespace
