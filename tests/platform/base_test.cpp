#include "varn/handles.h"

#include <gtest/gtest.h>

#include <climits>
#include <cwchar>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace {

using List = varn::StringList;
using Hash = std::unique_ptr<VLIBSZHASH, varn::Releaser<VLIBCSzHashFree>>;
using varn::Text;
using Texts = std::vector<std::string>;

List MakeList(const std::vector<std::string> &entries) {
    List list(VLIBCSzListAlloc(0));
    PVLIBSZLIST raw = list.get();
    for (const std::string &entry : entries) {
        VLIBCSzListPush(&raw, entry.c_str());
    }
    return list;
}

std::vector<std::string> Entries(const List &list) {
    std::vector<std::string> entries;
    for (int i = 0; i < list->nItem; ++i) {
        entries.emplace_back(VLIBCSzListGet(list.get(), i));
    }
    return entries;
}

TEST(Lists, KeepOrderUntilTheyAreSorted) {
    const List list = MakeList({"\xc3\xa9", "b", "a", "b", "B", "", "ab"});
    const auto find = [&](const char *text) { return VLIBCSzListFind(list.get(), text); };
    EXPECT_EQ(Entries(list), (Texts{"\xc3\xa9", "b", "a", "b", "B", "", "ab"}));
    EXPECT_EQ((std::vector{find("b"), find(""), find("c")}), (std::vector{1, 5, -1}));
    for (const int index : {-1, 7, INT_MAX, INT_MIN}) {
        EXPECT_EQ(VLIBCSzListGet(list.get(), index), nullptr) << index;
    }
    ASSERT_EQ(VLIBCSzListSort(list.get()), 0);
    EXPECT_EQ(Entries(list), (Texts{"", "B", "a", "ab", "b", "b", "\xc3\xa9"}));
    EXPECT_EQ((std::vector{find("b"), find("\xc3\xa9"), find("c"), find("\xff")}),
              (std::vector{4, 6, -1, -1}));
    PVLIBSZLIST raw = list.get();
    EXPECT_EQ(VLIBCSzListPush(&raw, "A"), 8);
    EXPECT_EQ((std::vector{find("A"), find("b")}), (std::vector{7, 4})) << "pushed after sorting";
    for (const int result : {VLIBCSzListPush(nullptr, "a"), VLIBCSzListPush(&raw, nullptr),
                             VLIBCSzListSort(nullptr), VLIBCSzListFind(nullptr, "a"),
                             VLIBCSzListFind(raw, nullptr), VLIBCStrTok(nullptr, "/", &raw),
                             VLIBCStrTok("a", nullptr, &raw), VLIBCStrTok("a", "/", nullptr)}) {
        EXPECT_EQ(result, -1);
    }
    EXPECT_EQ(list->nItem, 8);
    for (const int hint : {INT_MAX, INT_MIN}) {
        EXPECT_NE(List(VLIBCSzListAlloc(hint)), nullptr);
        EXPECT_NE(Hash(VLIBCSzHashAlloc(hint)), nullptr);
    }
}

TEST(Tokens, SplitAtEveryDelimiterWithoutEmptyOnes) {
    using Case = std::tuple<const char *, const char *, Texts>;
    for (const auto &[text, delims, tokens] :
         {Case{"/music/a", "/", {"music", "a"}}, Case{"/", "/", {}}, Case{"", "/", {}},
          Case{"//a//b//", "/", {"a", "b"}}, Case{"a,b;c", ",;", {"a", "b", "c"}},
          Case{"whole", "", {"whole"}}, Case{"\xc3\xa9/\xff/ ", "/", {"\xc3\xa9", "\xff", " "}}}) {
        const List list = MakeList({});
        PVLIBSZLIST raw = list.get();
        EXPECT_EQ(VLIBCStrTok(text, delims, &raw), tokens.size()) << text;
        EXPECT_EQ(Entries(list), tokens) << text;
    }
}

TEST(Hashes, ReplaceGrowAndKeepOtherValuesInPlace) {
    const Hash hash(VLIBCSzHashAlloc(0));
    PVLIBSZHASH raw = hash.get();
    ASSERT_EQ(VLIBCSzHashSetValue(&raw, "", "empty key"), 0);
    const char *kept = VLIBCSzHashGetValue(raw, "");
    for (int i = 0; i < 5000; ++i) {
        const std::string number = std::to_string(i);
        ASSERT_EQ(VLIBCSzHashSetValue(&raw, number.c_str(), (number + "!").c_str()), 0);
    }
    EXPECT_EQ(VLIBCSzHashGetValue(raw, ""), kept) << "a value moved without having been set";
    EXPECT_STREQ(VLIBCSzHashGetValue(raw, "4999"), "4999!");
    EXPECT_EQ(VLIBCSzHashGetValue(raw, "5000"), nullptr);
    // Setting a value to itself reads freed memory if the copy is made too late.
    const char *own = VLIBCSzHashGetValue(raw, "4999");
    EXPECT_EQ(VLIBCSzHashSetValue(&raw, "4999", own), 0);
    EXPECT_STREQ(VLIBCSzHashGetValue(raw, "4999"), "4999!");
    EXPECT_EQ(VLIBCSzHashSetValue(&raw, "4999", nullptr), -1);
    EXPECT_EQ(VLIBCSzHashSetValue(&raw, nullptr, "x"), -1);
    EXPECT_EQ(VLIBCSzHashGetValue(nullptr, "x"), nullptr);
    EXPECT_STREQ(VLIBCSzHashGetValue(raw, "4999"), "4999!");
}

TEST(Strings, AreFormattedAtAnyLengthAndTrimmed) {
    const std::string longText(100000, 'x');
    const Text text(VLIBCStrGet("%s|%d|%s", longText.c_str(), -7, "\xff"));
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(text.get(), longText + "|-7|\xff");
    VLIBCErrSetEx(VLIB_ERR_NONE, "", 0);
    char blanks[] = " \t\n\v\f\r\xc2\xa0 a b\x85 \r\n";
    EXPECT_EQ(VLIBCStrTrimSpace(blanks), blanks);
    EXPECT_STREQ(blanks, "\xc2\xa0 a b\x85") << "white space of the C locale alone";
    constexpr wint_t kNoCharacter = 0x7fffffff;
    EXPECT_EQ(VLIBCStrGet("%lc", kNoCharacter), nullptr);
    EXPECT_NE(VLIBCErrGet(), VLIB_ERR_NONE);
}

}  // namespace
