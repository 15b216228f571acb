#include <tuple>

#include "support/fixture.h"
#include "tonvale/media.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;
using Text = SystemTest;

TEST_F(Text, TrimsBothEnds) {
    for (const auto &[text, expected] : {std::pair(" a b \n", "a b"),
                                         {" \t \t", ""},
                                         {"", ""},
                                         {"\r\n\t a\nb ", "a\nb"},
                                         {"\va\f", "\va\f"},
                                         {"\xA0 a", "\xA0 a"}}) {
        std::string buffer = text;
        strstrip(buffer.data());
        EXPECT_STREQ(buffer.c_str(), expected);
    }
    strstrip(nullptr);
}

TEST_F(Text, EscapesForHtml) {
    using Case = std::tuple<std::string, std::size_t, std::string>;
    for (const auto &[source, size, result] :
         {Case{"a<b", 18, "a&lt;b"}, Case{"a<b", 17, "unchanged"},
          Case{"&\"<>'", 100, "&amp;&quot;&lt;&gt;'"}, Case{"&amp;", 100, "&amp;amp;"},
          Case{"\xE5\x90\x8D\xFF\n", 100, "\xE5\x90\x8D\xFF\n"},
          Case{"\"\"\"", 19, "&quot;&quot;&quot;"}, Case{"\"\"\"", 18, "&quot;&quot;&quot"},
          Case{"", 100, "unchanged"}, Case{"a", 0, "unchanged"}}) {
        std::string room = "unchanged";
        room.resize(128, '#');
        room[9] = '\0';
        const std::string after = room.substr(size);
        VARNHtmlSpecialChar(source.c_str(), room.data(), size);
        EXPECT_EQ(room.c_str(), result) << source;
        EXPECT_EQ(room.substr(size), after) << source;
    }
    char room[] = "unchanged";
    VARNHtmlSpecialChar(nullptr, room, sizeof room);
    VARNHtmlSpecialChar("a", nullptr, 100);
    EXPECT_STREQ(room, "unchanged");
}

class PageNav : public SystemTest {
  protected:
    static std::string Print(int page, int pages) {
        testing::internal::CaptureStdout();
        result_ = VARNAudioPrintPageNav(page, pages, "Page", "of", "prev", "first", "next", "last");
        return testing::internal::GetCapturedStdout();
    }
    static int result_;
};
int PageNav::result_;

TEST_F(PageNav, PrintsOnlyLinksToOtherPages) {
    const auto link = [](int page, const std::string &image, const std::string &name) {
        return "<a href=\"javascript:ChangePageNo(null, " + std::to_string(page) +
               ");\"><img src=\"images/" + image + "_page.png\" alt=\"" + name + "\" border=0></a>";
    };
    const std::string back = link(1, "first", "first") + "&nbsp;" + link(2, "previous", "prev");
    const std::string last = link(5, "last", "last");
    const auto box = [](int page, const char *disabled) {
        return "&nbsp;&nbsp;<span class=\"search_text\">Page</span> <input type=\"text\" "
               "id=\"newPageNo\" size=\"3\" value=\"" +
               std::to_string(page) +
               "\" style=\"text-align:center\" onKeyPress=\"ChangePageNo(event, -1);\" " +
               disabled + ">";
    };
    const auto of = [](int pages) {
        return " , <span class=\"search_text\">of " + std::to_string(pages) +
               "&nbsp;&nbsp;</span>\n";
    };
    EXPECT_EQ(Print(1, 1), box(1, "disabled") + of(1));
    EXPECT_EQ(result_, static_cast<int>(of(1).size()));
    EXPECT_EQ(Print(3, 5), back + box(3, "") + of(5) + link(4, "next", "next") + "&nbsp;" + last);
    EXPECT_EQ(result_, static_cast<int>(last.size()));
    EXPECT_EQ(Print(3, 3), back + box(3, "") + of(3));
    EXPECT_EQ(Print(0, 0), box(0, "disabled") + of(0));
    testing::internal::CaptureStdout();
    VARNAudioPrintPageNav(1, 1, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout().find("null"), std::string::npos);
}

class MimeType : public SystemTest {
  protected:
    static std::string Of(const char *extension) {
        char type[64] = "?";
        EXPECT_EQ(VARNAudioGetMimetype(extension, type, sizeof type), 0);
        return type;
    }
};

TEST_F(MimeType, IsTheLastOneOfItsExtension) {
    WriteFile(varn::path::kMimeTypes,
              "mp3 audio/first\n  FLAC\taudio/flac\r\njpg\nimage/jpeg mp3 " +
                  std::string("audio/mpeg\nlone"));
    for (const auto &[extension, type] : {std::pair("mp3", "audio/mpeg"),
                                          {"Mp3", "audio/mpeg"},
                                          {"flac", "audio/flac"},
                                          {"jpg", "image/jpeg"}}) {
        EXPECT_EQ(Of(extension), type);
    }
    for (const char *unknown : {"lone", "mp", "", "%s%n", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(Of(unknown), "application/octet-stream");
    }
    char cut[6] = "?????";
    EXPECT_EQ(VARNAudioGetMimetype("mp3", cut, sizeof cut), 0);
    EXPECT_STREQ(cut, "audio");
    EXPECT_EQ(VARNAudioGetMimetype("mp3", nullptr, 6) + VARNAudioGetMimetype("mp3", cut, 0), 0);
    WriteFile(varn::path::kMimeTypes, "a " + std::string(10'000, 'x') + "\nmp3 audio/mpeg\n");
    EXPECT_EQ(Of("a").size(), 63U) << "a word longer than any buffer";
    EXPECT_EQ(Of("mp3"), "audio/mpeg") << "the long word hid the next line";
    EXPECT_TRUE(Log().empty());
    fs::remove(At(varn::path::kMimeTypes));
    EXPECT_EQ(Of("mp3"), "application/octet-stream");
    EXPECT_TRUE(Logged("audiolib/misc:[0-9]+ Could not open the mimetype file .*/mimetypes.txt$"));
}

TEST_F(MimeType, KnowsMusicOnAFreshSystem) {
    for (const char *extension : {"mp3", "flac", "ogg", "m4a", "wav", "aiff", "wma", "ape"}) {
        EXPECT_TRUE(Of(extension).starts_with("audio/")) << extension;
    }
    EXPECT_EQ(Of("JPG"), "image/jpeg");
    EXPECT_EQ(Of("exe"), "application/octet-stream");
}

}  // namespace
