// What the reference vectors of login_vectors_test.sh do not reach: buffers, nulls, helpers.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "deviceapi/Tavero_Http_Encode.h"

namespace {

using Encode = Tavero_Http_Encode;
using ProofFunction = void (*)(char*, const char*, const char*, const char*, const char*,
                               const char*, bool, int);

constexpr ProofFunction kProofs[] = {Encode::TV_Sha256_1Encode, Encode::TV_QUORIX_Sha256_Encode};

/// The buffer is as small as is allowed, so that a sanitizer sees a byte too many.
std::string Proof(ProofFunction encode, const char* password, const char* other) {
    std::vector<char> out(65, '#');
    encode(out.data(), other, other, password, other, other, true, 2);
    EXPECT_EQ(out[64], '\0');
    return out.data();
}

std::string Base64(const char* in, int length) {
    std::vector<char> out(static_cast<size_t>(length > 0 ? (length + 2) / 3 * 4 : 0) + 1, '#');
    Encode::Base64Encode(in, length, out.data());
    EXPECT_EQ(out.back(), '\0');
    return out.data();
}

TEST(LoginSecrets, NullsAreEmptyTexts) {
    for (const ProofFunction encode : kProofs) {
        EXPECT_EQ(Proof(encode, nullptr, nullptr), Proof(encode, "", ""));
        EXPECT_NE(Proof(encode, "", "x"), Proof(encode, "", ""));
        encode(nullptr, "", "", "", "", "", true, 2);
    }
    EXPECT_EQ(Encode::GetAesKey(nullptr, nullptr, nullptr, true, 1),
              Encode::GetAesKey("", "", "", true, 1));
    EXPECT_EQ(Encode::GetQUORIXAesKey(nullptr, nullptr, nullptr, true, 1),
              Encode::GetQUORIXAesKey("", "", "", true, 1));
}

TEST(LoginSecrets, LongPasswordsCountToTheirLastByte) {
    std::string password(100000, 'p');
    const std::string other = password + "p";
    for (const ProofFunction encode : kProofs)
        EXPECT_NE(Proof(encode, password.c_str(), "x"), Proof(encode, other.c_str(), "x"));
    EXPECT_NE(Encode::GetAesKey(password.c_str(), "s", "f", false, 0),
              Encode::GetAesKey(other.c_str(), "s", "f", false, 0));
}

TEST(Base64Encode, FillsJustWhatItSays) {
    EXPECT_EQ(Base64("", 0), "");
    EXPECT_EQ(Base64("foob", 4), "Zm9vYg==");
    EXPECT_EQ(Base64("fooba", 5), "Zm9vYmE=");
    EXPECT_EQ(Base64("\0\xff\xfe", 3), "AP/+");
    EXPECT_EQ(Base64(std::string(45, '\xff').c_str(), 45), std::string(60, '/'));
    EXPECT_EQ(Base64(std::string(200, 'x').c_str(), 200).size(), 268u);
    EXPECT_EQ(Base64("x", -1), "");
    char out[] = "##";
    Encode::Base64Encode(nullptr, 3, out);
    EXPECT_STREQ(out, "");
    Encode::Base64Encode("x", 1, nullptr);
}

TEST(Hex2Str, PairsAreReadAsStrtolDoes) {
    EXPECT_EQ(Encode::Hex2Str(""), "");
    EXPECT_EQ(Encode::Hex2Str("00fF7a"), std::string("\0\xff\x7a", 3));
    EXPECT_EQ(Encode::Hex2Str("414"), "A\x04") << "a single last digit";
    EXPECT_EQ(Encode::Hex2Str("zz4z0x 5-1"), std::string("\0\x04\0\x05\xff", 5));
    EXPECT_EQ(Encode::Hex2Str(std::string("\0"
                                          "1"
                                          "41",
                                          4)),
              std::string("\0A", 2));
    EXPECT_EQ(Encode::Hex2Str(std::string(64, 'e')), std::string(32, '\xee'));
}

}  // namespace
