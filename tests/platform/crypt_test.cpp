#include "varn/crypt.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <vector>

#include "support/fixture.h"
#include "varn/account.h"
#include "varn/base.h"
#include "varn/systempath.h"

namespace {

class Crypt : public tonvale_test::SystemTest {
  protected:
    void SetUp() override {
        SystemTest::SetUp();
        std::filesystem::remove(At(varn::path::kCryptKey));
    }
};

TEST_F(Crypt, Base64InBothDirections) {
    struct Case {
        std::string text;
        const char *encoded;
    };
    for (const Case &c : {Case{"", ""}, Case{"f", "Zg=="}, Case{"fo", "Zm8="}, Case{"foo", "Zm9v"},
                          Case{"foob", "Zm9vYg=="}, Case{"fooba", "Zm9vYmE="},
                          Case{"foobar", "Zm9vYmFy"}, Case{"\xFB\xFF\xBF", "+/+/"}}) {
        SCOPED_TRACE(c.encoded);
        std::array<char, 16> out;
        ASSERT_EQ(VLIBCBase64SzEncodeOneLine(c.text.c_str(), out.data(), out.size()), 0);
        EXPECT_STREQ(out.data(), c.encoded);
        std::string unpadded = c.encoded;
        unpadded.erase(std::min(unpadded.find('='), unpadded.size()));
        for (const std::string &encoded : {std::string(c.encoded), unpadded}) {
            std::array<unsigned char, 8> bytes;
            std::size_t length = 99;
            ASSERT_EQ(VLIBCBase64Decode(encoded.c_str(), bytes.data(), bytes.size(), &length), 0);
            EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + length), c.text);
        }
    }
    std::array<unsigned char, 8> bytes;
    std::size_t length = 99;
    for (const char *bad : {"Z", "Zg=", "Z===", "=", "====", "Zg==Zg==", "Zm9\n", "Zm9v YmFy",
                            "Zm9-", "Zm\xC3\xA9"}) {
        EXPECT_EQ(VLIBCBase64Decode(bad, bytes.data(), bytes.size(), &length), -1) << bad;
        EXPECT_EQ(length, 0U);
    }
    EXPECT_EQ(VLIBCBase64Decode("Zm9vYmFy", bytes.data(), 5, &length), -1);
    EXPECT_EQ(VLIBCBase64Decode("Zm9vYmFy", bytes.data(), 6, &length), 0);
    char small[8] = "before";
    EXPECT_EQ(VLIBCBase64SzEncodeOneLine("foobar", small, sizeof small), -1);
    EXPECT_STREQ(small, "");
}

TEST_F(Crypt, EveryLengthFitsTwiceItsLength) {
    for (std::size_t length = 0; length <= 64; ++length) {
        const std::string plain(length, 'p');
        std::vector<char> cipher(std::max<std::size_t>(2 * length, 16));
        ASSERT_TRUE(
            VLIBCCryptSzEncrypt(plain.c_str(), cipher.data(), static_cast<int>(cipher.size())))
            << length;
        std::vector<char> out(length + 1);
        ASSERT_TRUE(VLIBCCryptSzDecrypt(cipher.data(), out.data(), static_cast<int>(out.size())))
            << length;
        EXPECT_EQ(out.data(), plain);
        if (length > 0) {
            EXPECT_FALSE(VLIBCCryptSzDecrypt(cipher.data(), out.data(), static_cast<int>(length)));
            EXPECT_EQ(out[0], '\0');
            EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_TOO_LONG);
        }
    }
    char cipher[16];
    EXPECT_FALSE(VLIBCCryptSzEncrypt("123456789", cipher, sizeof cipher)) << "no room for the salt";
    EXPECT_STREQ(cipher, "");
}

TEST_F(Crypt, TheSameTextLooksDifferentEachTime) {
    std::set<std::string> seen;
    for (int i = 0; i < 64; ++i) {
        std::array<char, 64> cipher;
        ASSERT_TRUE(VLIBCCryptSzEncrypt("secret", cipher.data(), cipher.size()));
        seen.insert(cipher.data());
    }
    EXPECT_EQ(seen.size(), 64U);
}

TEST_F(Crypt, TheKeyIsMadeOnceAndKeptFromOthers) {
    std::array<char, 64> cipher;
    ASSERT_TRUE(VLIBCCryptSzEncrypt("secret", cipher.data(), cipher.size()));
    const std::string key = ReadFile(At(varn::path::kCryptKey));
    EXPECT_EQ(key.size(), 32U);
    struct stat status {};
    ASSERT_EQ(stat(At(varn::path::kCryptKey).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
    PVARN_USER package = nullptr;
    ASSERT_EQ(VARNUserGet(varn::kPackageAccount, &package), 0);
    EXPECT_EQ(status.st_uid, package->uid);
    VARNUserFree(package);

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
}

TEST_F(Crypt, TextsThatAreNoCiphertext) {
    std::array<char, 64> out;
    for (const char *bad : {"", "A", "AA", "AAAA", "Ag==", "Dw", "not base64", "\xFF"}) {
        out[0] = 'x';
        EXPECT_FALSE(VLIBCCryptSzDecrypt(bad, out.data(), out.size())) << bad;
        EXPECT_STREQ(out.data(), "") << bad;
    }
    EXPECT_FALSE(VLIBCCryptSzDecrypt("AAAA", out.data(), 0));
}

}  // namespace
