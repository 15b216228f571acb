#include "varn/crypt.h"

#include <sys/stat.h>

#include <array>
#include <tuple>

#include "support/fixture.h"
#include "varn/base.h"
#include "varn/process.h"
#include "varn/systempath.h"

namespace {

using namespace tonvale_test;

class Crypt : public SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        fs::remove(At(varn::path::kCryptKey));
    }
};

TEST_F(Crypt, Base64IsEncodedAndStrictlyDecoded) {
    std::array<unsigned char, 8> bytes;
    std::size_t length = 99;
    const auto decode = [&](const char *text, std::size_t room = 8) {
        const int result = VLIBCBase64Decode(text, bytes.data(), room, &length);
        EXPECT_TRUE(result == 0 || length == 0) << text;
        return result == 0 ? std::string(bytes.begin(), bytes.begin() + length) : "none";
    };
    using Case = std::tuple<const char *, const char *, const char *>;
    for (const auto &[text, encoded, unpadded] :
         {Case{"", "", ""}, Case{"f", "Zg==", "Zg"}, Case{"fo", "Zm8=", "Zm8"},
          Case{"foob", "Zm9vYg==", "Zm9vYg"}, Case{"foobar", "Zm9vYmFy", "Zm9vYmFy"},
          Case{"\xFB\xFF\xBF", "+/+/", "+/+/"}}) {
        std::array<char, 16> out;
        ASSERT_EQ(VLIBCBase64SzEncodeOneLine(text, out.data(), out.size()), 0);
        EXPECT_STREQ(out.data(), encoded);
        EXPECT_EQ(decode(encoded), text);
        EXPECT_EQ(decode(unpadded), text);
    }
    for (const char *bad : {"Z", "Zg=", "Z===", "=", "====", "Zg==Zg==", "Zm9\n", "Zm9v YmFy",
                            "Zm9-", "Zm\xC3\xA9"}) {
        EXPECT_EQ(decode(bad), "none") << bad;
    }
    EXPECT_EQ(decode("Zm9vYmFy", 5), "none");
    EXPECT_EQ(decode("Zm9vYmFy", 6), "foobar");
    char small[8] = "before";
    EXPECT_EQ(VLIBCBase64SzEncodeOneLine("foobar", small, sizeof small), -1);
    EXPECT_STREQ(small, "");
}

TEST_F(Crypt, TheKeyIsMadeOnceAndKeptFromOthers) {
    std::array<char, 64> cipher, second;
    // Made with the key. What else lies in it, a running cluster perhaps, comes back at the end.
    const fs::path folder = At(varn::path::kCryptKey).parent_path();
    fs::rename(folder, scratch() / "folder");
    ASSERT_TRUE(VLIBCCryptSzEncrypt("secret", cipher.data(), cipher.size()));
    const std::string key = ReadFile(At(varn::path::kCryptKey));
    EXPECT_EQ(key.size(), 32U);
    ASSERT_TRUE(VLIBCCryptSzEncrypt("secret", second.data(), second.size()));
    EXPECT_STRNE(cipher.data(), second.data()) << "the same text looks the same each time";
    struct stat status {};
    ASSERT_EQ(stat(At(varn::path::kCryptKey).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
    EXPECT_EQ(status.st_uid, GetUserIdFromName(varn::kPackageAccount));

    std::array<char, 64> out;
    ASSERT_TRUE(VLIBCCryptSzDecrypt(cipher.data(), out.data(), out.size()));
    EXPECT_EQ(ReadFile(At(varn::path::kCryptKey)), key);

    WriteFile(varn::path::kCryptKey, std::string(32, 'k'));
    if (VLIBCCryptSzDecrypt(cipher.data(), out.data(), out.size())) {
        EXPECT_STRNE(out.data(), "secret") << "the key does not matter";
    }
    for (const std::size_t size : {0, 31, 33}) {
        WriteFile(varn::path::kCryptKey, std::string(size, 'k'));
        EXPECT_FALSE(VLIBCCryptSzEncrypt("secret", cipher.data(), cipher.size())) << size;
        EXPECT_EQ(ReadFile(At(varn::path::kCryptKey)).size(), size) << "a key was replaced";
    }
    fs::remove_all(folder);
    fs::rename(scratch() / "folder", folder);
}

}  // namespace
