#include "varn/handles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cwchar>
#include <memory>
#include <string>
#include <vector>

namespace {

using List = varn::StringList;
using Hash = std::unique_ptr<VLIBSZHASH, varn::Releaser<VLIBCSzHashFree>>;
using varn::Text;

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

TEST(Lists, KeepOrderAndAnswerOutOfRangeWithNull) {
    const List list = MakeList({"b", "", "a", "b"});
    EXPECT_EQ(Entries(list), (std::vector<std::string>{"b", "", "a", "b"}));
    for (const int index : {-1, 4, INT_MAX, INT_MIN}) {
        EXPECT_EQ(VLIBCSzListGet(list.get(), index), nullptr) << index;
    }
    EXPECT_EQ(VLIBCSzListFind(list.get(), "b"), 0);
    EXPECT_EQ(VLIBCSzListFind(list.get(), ""), 1);
    EXPECT_EQ(VLIBCSzListFind(list.get(), "c"), -1);
}

TEST(Lists, SortByUnsignedBytesAndFindTheFirstOfEquals) {
    const List list = MakeList({"\xc3\xa9", "b", "a", "b", "B", "", "ab"});
    ASSERT_EQ(VLIBCSzListSort(list.get()), 0);
    EXPECT_EQ(Entries(list), (std::vector<std::string>{"", "B", "a", "ab", "b", "b", "\xc3\xa9"}));
    EXPECT_EQ(VLIBCSzListFind(list.get(), "b"), 4);
    EXPECT_EQ(VLIBCSzListFind(list.get(), "\xc3\xa9"), 6);
    EXPECT_EQ(VLIBCSzListFind(list.get(), "c"), -1);
    EXPECT_EQ(VLIBCSzListFind(list.get(), "\xff"), -1);
}

TEST(Lists, FindWhatWasPushedAfterSorting) {
    const List list = MakeList({"m", "z"});
    VLIBCSzListSort(list.get());
    PVLIBSZLIST raw = list.get();
    EXPECT_EQ(VLIBCSzListPush(&raw, "a"), 3);
    EXPECT_EQ(VLIBCSzListFind(list.get(), "a"), 2);
    EXPECT_EQ(VLIBCSzListFind(list.get(), "m"), 0);
}

TEST(Lists, RefuseNullsAndWildHints) {
    const List list = MakeList({"a"});
    PVLIBSZLIST raw = list.get();
    for (const int result : {VLIBCSzListPush(nullptr, "a"), VLIBCSzListPush(&raw, nullptr),
                             VLIBCSzListSort(nullptr), VLIBCSzListFind(nullptr, "a"),
                             VLIBCSzListFind(raw, nullptr), VLIBCStrTok(nullptr, "/", &raw),
                             VLIBCStrTok("a", nullptr, &raw), VLIBCStrTok("a", "/", nullptr)}) {
        EXPECT_EQ(result, -1);
    }
    EXPECT_EQ(Entries(list), std::vector<std::string>{"a"});
    EXPECT_NE(List(VLIBCSzListAlloc(INT_MAX)), nullptr);
    EXPECT_NE(List(VLIBCSzListAlloc(INT_MIN)), nullptr);
}

TEST(Tokens, SplitAtEveryDelimiterWithoutEmptyOnes) {
    const struct {
        const char *text, *delims;
        std::vector<std::string> tokens;
    } cases[] = {
        {"/music/a", "/", {"music", "a"}},
        {"/", "/", {}},
        {"", "/", {}},
        {"//a//b//", "/", {"a", "b"}},
        {"a,b;c", ",;", {"a", "b", "c"}},
        {"whole", "", {"whole"}},
        {"\xc3\xa9/\xff/ ", "/", {"\xc3\xa9", "\xff", " "}},
    };
    for (const auto &test : cases) {
        const List list = MakeList({"before"});
        PVLIBSZLIST raw = list.get();
        EXPECT_EQ(VLIBCStrTok(test.text, test.delims, &raw), test.tokens.size()) << test.text;
        std::vector<std::string> expected = test.tokens;
        expected.insert(expected.begin(), "before");
        EXPECT_EQ(Entries(list), expected) << test.text;
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
    // A value that is set to itself is freed memory where the copy is made too late.
    const char *own = VLIBCSzHashGetValue(raw, "4999");
    EXPECT_EQ(VLIBCSzHashSetValue(&raw, "4999", own), 0);
    EXPECT_STREQ(VLIBCSzHashGetValue(raw, "4999"), "4999!");
    EXPECT_EQ(VLIBCSzHashSetValue(&raw, "4999", nullptr), -1);
    EXPECT_EQ(VLIBCSzHashSetValue(&raw, nullptr, "x"), -1);
    EXPECT_EQ(VLIBCSzHashGetValue(nullptr, "x"), nullptr);
    EXPECT_STREQ(VLIBCSzHashGetValue(raw, "4999"), "4999!");
    EXPECT_NE(Hash(VLIBCSzHashAlloc(INT_MAX)), nullptr);
    EXPECT_NE(Hash(VLIBCSzHashAlloc(-1)), nullptr);
}

TEST(Strings, FormatAnyLengthAndReportFailure) {
    const std::string longText(100000, 'x');
    const Text text(VLIBCStrGet("%s|%d|%s", longText.c_str(), -7, "\xff"));
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(text.get(), longText + "|-7|\xff");
    VLIBCErrSetEx(VLIB_ERR_NONE, "", 0);
    constexpr wint_t kNoCharacter = 0x7fffffff;
    EXPECT_EQ(VLIBCStrGet("%lc", kNoCharacter), nullptr);
    EXPECT_NE(VLIBCErrGet(), VLIB_ERR_NONE);
}

TEST(Strings, TrimWhiteSpaceOfTheCLocaleOnly) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {" \t\n\v\f\r", ""},
        {"a", "a"},
        {"  a b\t\n", "a b"},
        {"\r\na", "a"},
        {"\xc2\xa0x\xc2\xa0", "\xc2\xa0x\xc2\xa0"},
        {"x \x85", "x \x85"},
    };
    for (const auto &[before, after] : cases) {
        std::string text = before;
        EXPECT_EQ(VLIBCStrTrimSpace(text.data()), text.data());
        EXPECT_STREQ(text.c_str(), after.c_str()) << before;
    }
    EXPECT_EQ(VLIBCStrTrimSpace(nullptr), nullptr);
}

TEST(ErrorState, NamesTheFailingPlaceAndOutlivesSuccess) {
    EXPECT_EQ(VLIBCSzListSort(nullptr), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_BAD_PARAMETER);
    EXPECT_STREQ(VLIBCErrFile(), "platform/linux/lists.cpp");
    EXPECT_GT(VLIBCErrLine(), 0);
    EXPECT_EQ(VLIBCSzListSort(MakeList({"a"}).get()), 0);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_BAD_PARAMETER);
    VLIBCErrSetEx(0x1234, nullptr, 9);
    EXPECT_STREQ(VLIBCErrFile(), "") << "log lines print it with %s";
}

}  // namespace
