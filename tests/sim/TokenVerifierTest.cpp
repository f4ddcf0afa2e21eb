#include "sim/soap/TokenVerifier.h"

#include <gtest/gtest.h>

#include "sim/soap/Digest.h"

namespace vms::sim {
namespace {

using Result = TokenVerifier::Result;

constexpr std::time_t kNow = 1714564800;  // 2024-05-01T12:00:00Z

UsernameToken Token(const std::string& nonce, const std::string& created,
                    const std::string& password = "secret") {
    return {"admin", kPasswordDigestType, PasswordDigest(nonce, created, password),
            EncodeBase64(nonce), created};
}

TEST(PasswordDigest, MatchesThePublishedExample) {
    const auto nonce = DecodeBase64("LKqI6G/AikKCQrN0zqZFlg==");
    ASSERT_TRUE(nonce);
    EXPECT_EQ(PasswordDigest(*nonce, "2010-09-16T07:50:45Z", "userpassword"),
              "tuOSpGlFlIXsozq4HFNeeGeFLEI=");
}

TEST(Base64, RefusesWhatIsNone) {
    EXPECT_EQ(DecodeBase64("YQ=="), "a");
    EXPECT_EQ(DecodeBase64(""), "");
    for (const char* bad : {"YQ=", "YQ", "====", "Y===", "Y!==", "AAAA===="})
        EXPECT_FALSE(DecodeBase64(bad)) << bad;
}

TEST(ParseUtc, TakesFractionsButOnlyUtc) {
    EXPECT_EQ(ParseUtc("2024-05-01T12:00:00Z"), kNow);
    EXPECT_EQ(ParseUtc("2024-05-01T12:00:00.987Z"), kNow);
    for (const char* bad : {"", "2024-05-01", "2024-05-01T12:00:00", "2024-05-01T12:00:00+02:00",
                            "2024-05-01T12:00:00.", "2024-05-01T12:00:00Zx", "yesterday"})
        EXPECT_FALSE(ParseUtc(bad)) << bad;
}

TEST(TokenVerifier, NamesWhatIsWrong) {
    TokenVerifier verifier("admin", "secret");
    const UsernameToken good = Token("n1", "2024-05-01T12:00:00Z");
    UsernameToken bad = good;

    EXPECT_EQ(verifier.Verify(std::nullopt, kNow), Result::kMissing);
    bad.user = "root";
    EXPECT_EQ(verifier.Verify(bad, kNow), Result::kWrongUser);
    bad = good;
    bad.passwordType += "x";
    EXPECT_EQ(verifier.Verify(bad, kNow), Result::kNotDigest);
    bad = good;
    bad.nonce = "?";
    EXPECT_EQ(verifier.Verify(bad, kNow), Result::kBadNonce);
    EXPECT_EQ(verifier.Verify(Token("n1", "2024-05-01T12:00:00Z", "other"), kNow),
              Result::kWrongDigest);
    EXPECT_EQ(verifier.Verify(good, kNow), Result::kAccepted);
}

TEST(TokenVerifier, KeepsTheWindowOnBothSides) {
    TokenVerifier verifier("admin", "secret");
    const UsernameToken token = Token("n1", "2024-05-01T12:00:00Z");
    EXPECT_EQ(verifier.Verify(token, kNow + 301), Result::kStale);
    EXPECT_EQ(verifier.Verify(token, kNow - 301), Result::kStale);
    EXPECT_EQ(verifier.Verify(token, kNow + 300), Result::kAccepted);
}

TEST(TokenVerifier, SeesReplaysForAsLongAsTheTokenIsValid) {
    TokenVerifier verifier("admin", "secret");
    const UsernameToken token = Token("n1", "2024-05-01T12:05:00Z");
    EXPECT_EQ(verifier.Verify(token, kNow), Result::kAccepted);
    EXPECT_EQ(verifier.Verify(token, kNow), Result::kReplayed);
    EXPECT_EQ(verifier.Verify(token, kNow + 600), Result::kReplayed);
    EXPECT_EQ(verifier.Verify(token, kNow + 601), Result::kStale);
}

TEST(TokenVerifier, RememberedNoncesAreBounded) {
    TokenVerifier verifier("admin", "secret");
    const UsernameToken first = Token("first", "2024-05-01T12:00:00Z");
    EXPECT_EQ(verifier.Verify(first, kNow), Result::kAccepted);
    for (size_t i = 0; i + 1 < TokenVerifier::kMaxNonces; ++i) {
        const UsernameToken token = Token("n" + std::to_string(i), "2024-05-01T12:00:00Z");
        ASSERT_EQ(verifier.Verify(token, kNow), Result::kAccepted);
    }
    EXPECT_EQ(verifier.Verify(first, kNow), Result::kReplayed);
    EXPECT_EQ(verifier.Verify(Token("last", "2024-05-01T12:00:00Z"), kNow), Result::kAccepted);
    EXPECT_EQ(verifier.Verify(first, kNow), Result::kAccepted);
}

}  // namespace
}  // namespace vms::sim
