#include <gtest/gtest.h>

#include "sim/httpdevice/api/LoginProof.h"
#include "sim/httpdevice/api/Sessions.h"
#include "sim/httpdevice/api/Sha256.h"

namespace vms::sim::httpdevice {
namespace {

using std::chrono::seconds;

const Clock::time_point kStart = Clock::time_point(seconds(1000));

// The expected texts come from Python's hashlib and the openssl program.
TEST(LoginProof, BothFamiliesAgreeWithOtherImplementations) {
    Challenge challenge{"sess", "chal", "salt", 2, false};
    EXPECT_EQ(ExpectedProof(LoginFamily::kSha256, "admin", "pa=ss", challenge),
              "77e7d57ee94a19e9552f4c82fb52c1b7b816d7a586ca802cbcca96a019e0e79a");
    challenge.enableIteration = true;
    EXPECT_EQ(ExpectedProof(LoginFamily::kSha256, "admin", "pa=ss", challenge),
              "d63de4c912abda9f5e4144a972140239a69306f8acdb14066e4a3ecfd7fe0bf7");
    EXPECT_EQ(ExpectedProof(LoginFamily::kQuorix, "admin", "pa=ss", challenge),
              "720d2f352a86a2988436a1198e41f95fe5f5c186b0e09346fa4253b24c043b72");
}

TEST(LoginProof, KeyAndCipherAgreeWithOtherImplementations) {
    EXPECT_EQ(DeriveKey(LoginFamily::kSha256, "admin", "pa=ss", "salt", 2), "56105e78f2d792ff");
    EXPECT_EQ(DeriveKey(LoginFamily::kQuorix, "admin", "pa=ss", "salt", 2), "0cc09d10e73a78b5");
    EXPECT_EQ(ToHex(EncryptBlock("0011223344556677", "fedcba9876543210", "0123456789abcdef")),
              "c205057b8d3c12ea7fe4220c1734e5a3");
}

Account TenSeconds() {
    Account account{"admin", "secret"};
    account.sessionTime = seconds(10);
    return account;
}

ResultCode LogIn(Sessions& sessions, Clock::time_point now, const Challenge& challenge,
                 const std::string& password, std::string& token) {
    return sessions.Login(now, challenge.sessionId, "admin",
                          ExpectedProof(LoginFamily::kSha256, "admin", password, challenge), token);
}

TEST(Sessions, AChallengeIsGoodForOneAttemptWithinAMinute) {
    Sessions sessions(TenSeconds());
    std::string token;
    const Challenge wrong = sessions.Issue(kStart, 3);
    EXPECT_EQ(LogIn(sessions, kStart, wrong, "guess", token), ResultCode::kLoginRefused);
    EXPECT_EQ(LogIn(sessions, kStart, wrong, "secret", token), ResultCode::kNoChallenge);
    const Challenge late = sessions.Issue(kStart, 3);
    EXPECT_EQ(LogIn(sessions, kStart + seconds(61), late, "secret", token),
              ResultCode::kNoChallenge);
    EXPECT_EQ(token, "");
    const Challenge good = sessions.Issue(kStart, 3);
    EXPECT_NE(good.challenge, late.challenge);
    EXPECT_EQ(LogIn(sessions, kStart + seconds(60), good, "secret", token), ResultCode::kDone);
    EXPECT_EQ(token.size(), 32u);
}

TEST(Sessions, ASessionLivesWhileItIsNamed) {
    Sessions sessions(TenSeconds());
    std::string token;
    ASSERT_EQ(LogIn(sessions, kStart, sessions.Issue(kStart, 0), "secret", token),
              ResultCode::kDone);
    EXPECT_EQ(sessions.Check(kStart + seconds(9), token, true), ResultCode::kDone);
    EXPECT_EQ(sessions.Check(kStart + seconds(18), token, false), ResultCode::kDone);
    EXPECT_EQ(sessions.Check(kStart + seconds(19), token, true), ResultCode::kSessionExpired);
    EXPECT_EQ(sessions.open(kStart + seconds(19)), 0u);
    EXPECT_TRUE(sessions.Logout(token));
    EXPECT_EQ(sessions.Check(kStart, token, true), ResultCode::kNoSession);
}

TEST(Sessions, ANonceProvesTheKeyOnce) {
    Sessions sessions(TenSeconds());
    std::string token;
    ASSERT_EQ(LogIn(sessions, kStart, sessions.Issue(kStart, 0), "secret", token),
              ResultCode::kDone);
    EXPECT_EQ(sessions.ProveKey(token, ""), ResultCode::kWrongKey);
    sessions.SetNonce(token, "abc");
    EXPECT_EQ(sessions.ProveKey(token, "abd"), ResultCode::kWrongKey);
    EXPECT_EQ(sessions.ProveKey(token, "abc"), ResultCode::kWrongKey);
    EXPECT_FALSE(sessions.KeyProven(token));
    sessions.SetNonce(token, "abc");
    EXPECT_EQ(sessions.ProveKey(token, "abc"), ResultCode::kDone);
    EXPECT_TRUE(sessions.KeyProven(token));
}

}  // namespace
}  // namespace vms::sim::httpdevice
