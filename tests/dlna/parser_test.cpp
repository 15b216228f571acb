#include <libxml/parser.h>
#include <libxml/tree.h>

#include <limits>
#include <map>
#include <tuple>

#include "support/fixture.h"
#include "support/scripted_http.h"
#include "tonvale/dlna.h"

namespace {

using namespace tonvale_test;
using ParserTest = SystemTest;
using Values = std::map<std::string, std::string>;

// A node's own values, without those of its resources.
Values ValuesOf(const ItemNode &node) {
    Values values;
    for (std::size_t i = 0; i < node.values.size(); ++i) {
        values.emplace(node.values.at(i));
    }
    return values;
}

// A Browse answer as it is after decoding.
std::string Answer(const std::string &didl, const std::string &counts = "") {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n"
           "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body>"
           "<u:BrowseResponse xmlns:u=\"urn:schemas-upnp-org:service:ContentDirectory:1\"><Result>"
           "<DIDL-Lite xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\" "
           "xmlns:dc=\"http://purl.org/dc/elements/1.1/\" "
           "xmlns:upnp=\"urn:schemas-upnp-org:metadata-1-0/upnp/\">" +
           didl + "</DIDL-Lite></Result>" + counts +
           "</u:BrowseResponse></s:Body></s:Envelope>\r\n";
}

int Parse(DMAParser &parser, const std::string &text) {
    return parser.Parse(text.data(), static_cast<int>(text.size()));
}

// The first item of an answer with these elements.
const ItemNode &FirstItem(DMAParser &parser, const std::string &didl) {
    static const ItemNode none;
    EXPECT_EQ(Parse(parser, Answer(didl)), 0) << didl;
    EXPECT_FALSE(parser.items.nodes().empty()) << didl;
    return parser.items.nodes().empty() ? none : *parser.items.nodes().front();
}

std::vector<std::string> Titles(const ItemList &list) {
    std::vector<std::string> titles;
    for (const auto &node : list.nodes()) {
        titles.push_back(node->getValueByKey("title"));
    }
    return titles;
}

TEST_F(ParserTest, ReadsATrack) {
    DMAParser parser;
    const ItemNode &item = FirstItem(
        parser,
        "\r\n <item id=\"1$4&amp;0\" parentID=\"1$4\" restricted=\"1\"><!-- a song -->\r\n"
        "<dc:title>静か &amp; &lt;O'Brien&gt; &#38; &quot;%s&quot;</dc:title>"
        "<upnp:artist role=\"Performer\">First</upnp:artist><upnp:artist>Second</upnp:artist>"
        "<upnp:album/><upnp:genre></upnp:genre><dc:date><![CDATA[2003<&>]]></dc:date>"
        "<desc><x>inner</x>tail</desc><upnp:class>object<!-- cut -->.item</upnp:class>"
        "<res protocolInfo=\"http-get:*:audio/flac:*\" size=\"17\" duration=\"0:03:01.5\" "
        "sampleFrequency=\"44100\" bitsPerSample=\"16\" nrAudioChannels=\"2\">http://a/1?b&amp;c"
        "</res><res protocolInfo=\"http-get:*:audio/mpeg:*\" bitrate=\"16000\" "
        "resolution=\"\" album=\"of the resource\"/></item>");
    EXPECT_EQ(ValuesOf(item), (Values{{"id", "1$4&0"},
                                      {"parentID", "1$4"},
                                      {"restricted", "1"},
                                      {"title", "静か & <O'Brien> & \"%s\""},
                                      {"artist", "First"},
                                      {"album", ""},
                                      {"genre", ""},
                                      {"date", "2003<&>"},
                                      {"desc", ""},
                                      {"class", "object"}}));
    ASSERT_TRUE(item.children);
    ASSERT_EQ(item.children->nodes().size(), 2u);
    EXPECT_EQ(ValuesOf(*item.children->nodes()[0]),
              (Values{{"protocolInfo", "http-get:*:audio/flac:*"},
                      {"size", "17"},
                      {"duration", "0:03:01.5"},
                      {"sampleFrequency", "44100"},
                      {"bitsPerSample", "16"},
                      {"nrAudioChannels", "2"},
                      {"res", "http://a/1?b&c"}}));
    const std::pair<const char *, const char *> kLookups[] = {
        {"title", "静か & <O'Brien> & \"%s\""},
        {"protocolInfo", "http-get:*:audio/flac:*"},  // the first resource's
        {"bitrate", "16000"},                         // the second's, as the first has none
        {"res", "http://a/1?b&c"},
        {"album", "of the resource"},  // an empty value falls through
        {"genre", ""},
        {"resolution", ""},
        {"dc:title", ""},
        {"", ""}};
    for (const auto &[key, value] : kLookups) {
        EXPECT_EQ(item.getValueByKey(key), value) << key;
    }
}

TEST_F(ParserTest, KeepsTheOrderAndTheFirstOfAKey) {
    const std::tuple<const char *, std::vector<std::string>, std::vector<std::string>> kCases[] = {
        {"<item><dc:title>b</dc:title></item><container><title>c</title></container>"
         "<item title=\"a\"/>",
         {"c"},
         {"b", "a"}},
        {"<x><y><item title=\"deep\"/></y></x><item title=\"flat\"/>", {}, {"deep", "flat"}},
        // An attribute precedes a child of its name. The parser does not look inside of an object.
        {"<item title=\"attribute\"><dc:title>child</dc:title></item>", {}, {"attribute"}},
        {"<container title=\"outer\"><container title=\"inner\"/><item title=\"i\"/></container>",
         {"outer"},
         {}},
        {"<dc:container title=\"prefixed\"/><Item title=\"case\"/>", {"prefixed"}, {}},
        {"", {}, {}}};
    for (const auto &[didl, containers, items] : kCases) {
        DMAParser parser;
        EXPECT_EQ(Parse(parser, Answer(didl)), 0);
        EXPECT_EQ(Titles(parser.containers), containers) << didl;
        EXPECT_EQ(Titles(parser.items), items) << didl;
    }
}

TEST_F(ParserTest, TakesTheLastCount) {
    const std::pair<const char *, int> kCases[] = {
        {"<TotalMatches>120</TotalMatches><NumberReturned>50</NumberReturned>", 50},
        {"<NumberReturned>50</NumberReturned><TotalMatches>120</TotalMatches>", 120},
        {"<TotalMatches>120</TotalMatches><NumberReturned/>", 120},
        {"<NumberReturned> 12 of them</NumberReturned>", 12},
        {"<NumberReturned>many</NumberReturned>", 0},
        {"<NumberReturned>99999999999999999999</NumberReturned>", std::numeric_limits<int>::max()},
        {"<TotalMatches>120</TotalMatches><NumberReturned><x/>5</NumberReturned>", 0},
        {"<TotalMatches>120</TotalMatches><NumberReturned><!--9-->5</NumberReturned>", 9},
        {"", 0}};
    for (const auto &[counts, expected] : kCases) {
        DMAParser parser;
        parser.count = parser.reserved = 7;
        EXPECT_EQ(Parse(parser, "<broken>"), -1);
        EXPECT_EQ(parser.count, 7);
        EXPECT_EQ(Parse(parser, Answer("", counts)), 0);
        EXPECT_EQ(parser.reserved, 0);
        EXPECT_EQ(parser.count, expected) << counts;
    }
}

TEST_F(ParserTest, AddsToItsListsWithEachAnswer) {
    DMAParser parser;
    const std::string counts = "<NumberReturned>2</NumberReturned>";
    EXPECT_EQ(Parse(parser, Answer("<item title=\"a\"/><container title=\"c\"/>", counts)), 0);
    EXPECT_EQ(Parse(parser, Answer("<item title=\"b\"/>")), 0);
    EXPECT_EQ(Titles(parser.items), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(Titles(parser.containers), std::vector<std::string>{"c"});
    EXPECT_EQ(parser.count, 0) << "each answer has its own count";
}

TEST_F(ParserTest, ReadsOtherEncodings) {
    const std::pair<std::string, const char *> kCases[] = {
        {"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><r><item title=\"\xE4\"/></r>",
         "\xC3\xA4"},
        {std::string("\xFF\xFE<\0i\0t\0e\0m\0 \0t\0i\0t\0l\0e\0=\0'\0\xE4\0'\0/\0>\0", 36),
         "\xC3\xA4"},
        // An undeclared prefix is part of the name.
        {"<r><dc:item title=\"no\"/><item dc:title=\"no\" title=\"yes\"/></r>", "yes"}};
    for (const auto &[text, title] : kCases) {
        DMAParser parser;
        EXPECT_EQ(Parse(parser, text), 0) << text;
        EXPECT_EQ(Titles(parser.items), std::vector<std::string>{title}) << text;
    }
}

TEST_F(ParserTest, RefusesInvalidDocuments) {
    std::string deep;
    for (int i = 0; i < 300; ++i) {
        deep += "<res>";
    }
    const std::string whole = Answer("<item id=\"1\"><dc:title>t</dc:title></item>");
    const std::string kCases[] = {
        "",
        "not XML",
        whole.substr(0, whole.size() - 20),
        whole.substr(0, 100) + std::string(1, '\0') + whole.substr(100),
        Answer("<item id=\"1\"><dc:title>t</title></item>"),
        Answer("<item id=&#34;1&#34;/>"),  // escaped by number, which is not undone
        Answer("<item><title>&unknown;</title></item>"),
        Answer("<item id=\"1\"/><item>" + deep),
        Answer("<?xml version=\"1.0\"?><item/>")};
    for (const std::string &text : kCases) {
        DMAParser parser;
        EXPECT_EQ(Parse(parser, text), -1) << text;
        EXPECT_TRUE(parser.items.nodes().empty() && parser.containers.nodes().empty()) << text;
    }
    DMAParser parser;
    EXPECT_EQ(parser.Parse(nullptr, 10), -1);
    EXPECT_EQ(parser.Parse(whole.data(), -1), -1);
    EXPECT_EQ(parser.Parse(nullptr), -1);
    EXPECT_EQ(Parse(parser, whole), 0) << "it cannot be used again";
    EXPECT_EQ(Titles(parser.items), std::vector<std::string>{"t"});
}

TEST_F(ParserTest, ExpandsNoEntityOfTheDocument) {
    const std::string text =
        "<!DOCTYPE r [<!ENTITY a \"0123456789\"><!ENTITY b \"&a;&a;&a;&a;\">"
        "<!ENTITY item \"<item id='x'><title>in</title></item>\">"
        "<!ENTITY TotalMatches \"9\">]>"
        "<r>&item;&TotalMatches;<item id='1'><title>&b;</title><album>x&b;</album></item></r>";
    DMAParser parser;
    ASSERT_EQ(Parse(parser, text), 0);
    ASSERT_EQ(parser.items.nodes().size(), 1u);
    EXPECT_EQ(ValuesOf(*parser.items.nodes()[0]),
              (Values{{"id", "1"}, {"title", ""}, {"album", "x"}}));
    EXPECT_EQ(parser.count, 0);
}

}  // namespace
