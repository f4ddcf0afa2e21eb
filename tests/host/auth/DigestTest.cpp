#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>

#include "host/auth/DigestAccess.h"

namespace vms::host {
namespace {

using namespace std::chrono_literals;
using Outcome = DigestAccess::Outcome;

constexpr char kPeer[] = "10.0.0.1";

DigestSecret SecretOf(const std::string& text) {
    return {Md5Hex(text), Sha256Hex(text)};
}

TEST(DigestHeader, IsReadAsPlayersWriteIt) {
    const auto header = ReadDigestHeader(
        "dIGEST username=\"a \\\"b\\\" \\\\\" , realm=\"r\",nonce=\"n==\", uri=\"/x?a=b,c\" ,"
        "response=\"ABCDEF\", algorithm=sha-256, qop=auth, nc=0000000a, cnonce=x==,");
    ASSERT_TRUE(header);
    EXPECT_EQ(header->username, "a \"b\" \\");
    EXPECT_EQ(header->nonce, "n==");
    EXPECT_EQ(header->uri, "/x?a=b,c");
    EXPECT_EQ(header->response, "abcdef");
    EXPECT_EQ(header->algorithm, "SHA-256");
    EXPECT_EQ(header->count, "0000000a");
    EXPECT_EQ(header->cnonce, "x==");

    const std::string good = "Digest username=u, realm=r, nonce=n, uri=/, response=0";
    ASSERT_TRUE(ReadDigestHeader(good));
    EXPECT_EQ(ReadDigestHeader(good)->algorithm, "MD5");
    for (const std::string& bad :
         {std::string(), std::string("Digest"), std::string("Digestusername=u"),
          good + ", nonce=again", good + ", x", good + ", =x", good + ", x=\"open",
          good + ", x=\"open\\", good + " x=y", std::string("Digest username=u, nonce=n, uri=/"),
          good + ", x=" + std::string(kLongestDigestHeader, 'x'), "Basic" + good.substr(6)})
        EXPECT_FALSE(ReadDigestHeader(bad)) << bad.substr(0, 100);
}

TEST(DigestResponse, IsThatOfTheStandardsExamples) {
    const DigestSecret secret = SecretOf("Mufasa:http-auth@example.org:Circle of Life");
    DigestHeader header{.username = "Mufasa",
                        .realm = "http-auth@example.org",
                        .nonce = "7ypf/xlj9XXwfDPEoM4URrv/xwf94BcCAzFZH4GiTo0v",
                        .uri = "/dir/index.html",
                        .response = "",
                        .algorithm = "MD5",
                        .qop = "auth",
                        .cnonce = "f2/wE4q74E6zIJEtWaHKaf5wv/H5QzzpXusqGemxURZJ",
                        .count = "00000001"};
    EXPECT_EQ(DigestResponse(header, "GET", secret), "8ca523f5e9506fed4657c9700eebdbec");
    header.algorithm = "SHA-256";
    EXPECT_EQ(DigestResponse(header, "GET", secret),
              "753927fa0e85d155564e2e272a28d1802ca10daf4496794697cf8db5856cb6c1");
}

class DigestTest : public testing::Test {
protected:
    /// A player's answer to a challenge.
    DigestHeader AnswerTo(const std::string& challenge, const std::string& count = "00000001") {
        const auto header = ReadDigestHeader(challenge + ", username=\"anna\", response=0, uri=/x");
        EXPECT_TRUE(header) << challenge;
        DigestHeader answer = header.value_or(DigestHeader{});
        answer.qop = count.empty() ? "" : "auth";
        answer.count = count;
        answer.cnonce = count.empty() ? "" : "c";
        answer.response = DigestResponse(answer, "DESCRIBE", secret_);
        return answer;
    }
    DigestHeader Answer(const std::string& count = "00000001") {
        return AnswerTo(access_.Challenges(kPeer, false, now_).back(), count);
    }
    Outcome Check(const DigestHeader& header, const std::string& method = "DESCRIBE",
                  const std::string& peer = kPeer) {
        const std::vector<DigestSecret> secrets{SecretOf("x"), secret_, SecretOf("y")};
        size_t matched = 0;
        const Outcome outcome = access_.Check(header, method, peer, secrets, now_, matched);
        EXPECT_TRUE(outcome != Outcome::kGood || matched == 1U);
        return outcome;
    }

    const DigestSecret secret_ = SecretOf("anna:r:password");
    DigestAccess access_{"r"};
    DigestAccess::Time now_ = DigestAccess::Clock::now();
};

TEST_F(DigestTest, BothAlgorithmsLetIn) {
    const auto challenges = access_.Challenges(kPeer, true, now_);
    ASSERT_EQ(challenges.size(), 2U);
    EXPECT_THAT(challenges[0], testing::HasSubstr("algorithm=SHA-256"));
    EXPECT_THAT(challenges[0], testing::HasSubstr("stale=true"));
    EXPECT_EQ(Check(AnswerTo(challenges[0], "00000001")), Outcome::kGood);
    EXPECT_EQ(Check(AnswerTo(challenges[1], "00000002")), Outcome::kGood);
}

TEST_F(DigestTest, WhatIsWrongIsNotLetIn) {
    DigestHeader wrong = Answer();
    wrong.response[0] = wrong.response[0] == '0' ? '1' : '0';
    EXPECT_EQ(Check(wrong), Outcome::kWrong);
    EXPECT_EQ(Check(Answer(), "PLAY"), Outcome::kWrong);
    for (const auto& [member, value] :
         std::vector<std::pair<std::string DigestHeader::*, std::string>>{
             {&DigestHeader::realm, "other"},
             {&DigestHeader::algorithm, "MD5-SESS"},
             {&DigestHeader::qop, "auth-int"},
             {&DigestHeader::count, "1"},
             {&DigestHeader::cnonce, ""}}) {
        wrong = Answer();
        wrong.*member = value;
        wrong.response = DigestResponse(wrong, "DESCRIBE", secret_);
        EXPECT_EQ(Check(wrong), Outcome::kWrong) << value;
    }
    size_t matched = 0;
    EXPECT_EQ(access_.Check(Answer(), "DESCRIBE", kPeer, {}, now_, matched), Outcome::kWrong);
    EXPECT_EQ(DigestAccess("r").Check(Answer(), "DESCRIBE", kPeer, {secret_}, now_, matched),
              Outcome::kStale)
        << "a nonce of the process before";
}

TEST_F(DigestTest, WhatWasOverheardIsOfNoUse) {
    const DigestHeader first = Answer();
    EXPECT_EQ(Check(first, "DESCRIBE", "10.0.0.2"), Outcome::kStale);
    EXPECT_EQ(Check(first), Outcome::kGood);
    EXPECT_EQ(Check(first), Outcome::kStale);
    DigestHeader next = first;
    next.count = "000000ff";
    next.response = DigestResponse(next, "DESCRIBE", secret_);
    EXPECT_EQ(Check(next), Outcome::kGood);
    EXPECT_EQ(Check(first), Outcome::kStale);

    const DigestHeader old = Answer();
    now_ += DigestAccess::kNonce + 1s;
    EXPECT_EQ(Check(old), Outcome::kStale);
    // However many nonces are used meanwhile.
    const DigestHeader kept = Answer();
    EXPECT_EQ(Check(kept), Outcome::kGood);
    for (size_t i = 0; i <= DigestAccess::kCounted; ++i) {
        now_ += 1ms;
        ASSERT_EQ(Check(Answer()), Outcome::kGood);
    }
    EXPECT_EQ(Check(kept), Outcome::kStale);
}

TEST_F(DigestTest, PlayersWithoutCountsAreLetInForAMinute) {
    const DigestHeader plain = Answer("");
    EXPECT_EQ(Check(plain), Outcome::kGood);
    EXPECT_EQ(Check(plain), Outcome::kGood);
    now_ += DigestAccess::kUncounted + 1s;
    EXPECT_EQ(Check(plain), Outcome::kStale);
}

}  // namespace
}  // namespace vms::host
