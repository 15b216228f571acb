#include "service/base/validators.h"

#include <gtest/gtest.h>

namespace {

TEST(Validators, ChangeWithThePicture) {
    struct stat info = {};
    info.st_ino = 1;
    info.st_size = 2;
    info.st_mtim = {784111777, 5};
    const tonvale_service::Validators now = tonvale_service::ValidatorsOf(info);
    EXPECT_EQ(now.lastModified, "Sun, 06 Nov 1994 08:49:37 GMT");
    for (auto change : {+[](struct stat &s) { ++s.st_ino; }, +[](struct stat &s) { ++s.st_size; },
                        +[](struct stat &s) { ++s.st_mtim.tv_sec; },
                        +[](struct stat &s) { ++s.st_mtim.tv_nsec; }}) {
        struct stat other = info;
        change(other);
        EXPECT_NE(tonvale_service::ValidatorsOf(other).etag, now.etag);
    }
    const std::string tag = now.etag;
    const std::pair<std::string, bool> kCases[] = {
        {tag, true},  {"W/" + tag, true},     {"\"a\" ,\t" + tag + " , \"b\"", true},
        {"*", true},  {tag.substr(1), false}, {"\"a\", \"b\"", false},
        {",,", false}};
    for (const auto &[ifNoneMatch, unchanged] : kCases) {
        EXPECT_EQ(tonvale_service::IsUnchanged(now, ifNoneMatch, ""), unchanged) << ifNoneMatch;
    }
    EXPECT_FALSE(tonvale_service::IsUnchanged(now, "", "Sun, 06 Nov 1994 08:49:36 GMT"));
    EXPECT_FALSE(tonvale_service::IsUnchanged(now, "", ""));
    EXPECT_FALSE(tonvale_service::IsUnchanged({}, "", ""));
    EXPECT_FALSE(tonvale_service::IsUnchanged({}, ",,", "")) << "no tag is not an empty one";
}

}  // namespace
