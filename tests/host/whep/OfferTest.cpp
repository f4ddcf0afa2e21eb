// Offers of browsers and of others: what is read of them, what is passed on, what is answered.
#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>

#include "host/players/whep/WhepOffer.h"
#include "tests/host/whep/Offers.h"

namespace {

using namespace vms::host;
using namespace vms::host::test;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr int kHigh = 0x64;

WhepOffer Read(const std::string& text) {
    WhepOffer offer;
    const WhepProblem problem = ReadWhepOffer(text, offer);
    EXPECT_EQ(problem.status, 0) << problem.text;
    return offer;
}

int StatusOf(const std::string& text) {
    WhepOffer offer;
    return ReadWhepOffer(text, offer).status;
}

std::string Without(std::string text, const std::string& part) {
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part))
        text.erase(at, part.size());
    return text;
}

std::string With(std::string text, const std::string& part, const std::string& other) {
    const size_t at = text.find(part);
    EXPECT_NE(at, std::string::npos) << part;
    return text.replace(at, part.size(), other);
}

TEST(WhepOffer, ChoosesTheWayThatFitsTheStream) {
    const WhepOffer offer = Read(BrowserOffer());
    const WhepChoice high = ChooseFrom(offer, kHigh, WhepSound::kALaw);
    EXPECT_EQ(high.video.payload, 116);
    EXPECT_EQ(high.video.repair, 117);
    EXPECT_EQ(high.audioPayload, 8);
    const WhepChoice main = ChooseFrom(offer, 0x4d, WhepSound::kMuLaw);
    EXPECT_EQ(main.video.payload, 102) << "none fits: the browser's first one";
    EXPECT_EQ(main.audioPayload, 0) << "listed, but not called by its name";
    EXPECT_EQ(ChooseFrom(offer, kHigh, WhepSound::kNone).audioPayload, -1);
}

TEST(WhepOffer, PassesOnWhatIsChosenAndNothingElse) {
    const WhepOffer offer = Read(With(BrowserOffer(), "a=rtpmap:96", "a=x:evil\r\na=rtpmap:96"));
    const std::string narrow = NarrowOffer(offer, ChooseFrom(offer, kHigh, WhepSound::kALaw));
    EXPECT_THAT(narrow, HasSubstr("m=video 9 UDP/TLS/RTP/SAVPF 116 117\r\n"));
    EXPECT_THAT(narrow, HasSubstr("a=group:BUNDLE v a\r\n"));
    EXPECT_THAT(narrow, HasSubstr("a=ice-pwd:0123456789abcdefghijkl\r\n"));
    EXPECT_THAT(narrow, HasSubstr("packetization-mode=1;profile-level-id=64001f\r\n"));
    EXPECT_THAT(narrow, Not(HasSubstr("candidate"))) << "nobody is sent where a stranger says";
    EXPECT_THAT(narrow, Not(HasSubstr("evil")));
    const std::string silent = NarrowOffer(offer, ChooseFrom(offer, kHigh, WhepSound::kNone));
    EXPECT_THAT(silent, Not(HasSubstr("m=audio")));
}

TEST(WhepOffer, AnswersEverySectionInItsPlace) {
    const std::string data = "m=application 9 UDP/DTLS/SCTP webrtc-datachannel\r\na=mid:d\r\n";
    const WhepOffer offer = Read(BrowserOffer() + data);
    const WhepChoice choice = ChooseFrom(offer, kHigh, WhepSound::kALaw);
    const std::string head = "v=0\r\no=- 7 0 IN IP4 0.0.0.0\r\ns=-\r\nt=0 0\r\n";
    const std::string video = "m=video 9 UDP/TLS/RTP/SAVPF 116\r\na=mid:v\r\na=sendonly\r\n";
    const std::string audio = "m=audio 9 UDP/TLS/RTP/SAVPF 8\r\na=mid:a\r\na=sendonly\r\n";
    const std::string refused =
        "m=application 0 UDP/DTLS/SCTP webrtc-datachannel\r\nc=IN IP4 0.0.0.0\r\na=mid:d\r\n"
        "a=inactive\r\n";
    EXPECT_EQ(WidenAnswer(offer, choice, head + "a=group:BUNDLE v a\r\n" + video + audio),
              head + "a=group:BUNDLE a v\r\n" + audio + video + refused);

    const WhepChoice silent = ChooseFrom(offer, kHigh, WhepSound::kNone);
    const std::string answer = WidenAnswer(offer, silent, head + "a=group:BUNDLE v\r\n" + video);
    EXPECT_THAT(answer, StartsWith(head + "a=group:BUNDLE v\r\nm=audio 0 UDP/TLS/RTP/SAVPF 111"));
    EXPECT_EQ(WidenAnswer(offer, silent, head + video + audio), "") << "not what was asked";
    EXPECT_EQ(WidenAnswer(offer, silent, head + With(video, "video 9", "video 0")), "");
    EXPECT_EQ(WidenAnswer(offer, silent, head + With(video, "sendonly", "inactive")), "");
    EXPECT_EQ(WidenAnswer(offer, silent, "what?"), "");
}

TEST(WhepOffer, TakesTheTransportFromWhereItIsDescribed) {
    // Of sections that share a transport, all but the first may have port 0 and say nothing of it.
    std::string lean =
        "m=video 0 UDP/TLS/RTP/SAVPF 116\r\na=mid:v\r\na=bundle-only\r\na=rtcp-mux\r\n"
        "a=rtpmap:116 H264/90000\r\n"
        "a=fmtp:116 packetization-mode=1;profile-level-id=42001f\r\n";
    const WhepOffer offer = Read(kSessionPart + AudioSection() + lean);
    EXPECT_EQ(offer.iceUser, "abcd");
    EXPECT_EQ(offer.audio, 0);
    EXPECT_EQ(StatusOf(kSessionPart + AudioSection("x") + lean), 400) << "not the same transport";

    // Sound with a transport of its own is done without.
    EXPECT_EQ(Read(kSessionPart + AudioSection("x") + VideoSection()).audio, -1);
    const std::string session = std::string(kSessionPart) + "a=ice-ufrag:efgh\r\n";
    EXPECT_EQ(Read(session + Without(VideoSection(), "a=ice-ufrag:abcd\r\n")).iceUser, "efgh");
}

TEST(WhepOffer, SaysWhyItCannotBeServed) {
    EXPECT_EQ(StatusOf(kSessionPart + AudioSection()), 406) << "no video";
    EXPECT_EQ(StatusOf(With(BrowserOffer(), "m=video 9", "m=video 0")), 406) << "refused";
    EXPECT_EQ(StatusOf(kSessionPart + With(VideoSection(), "recvonly", "sendonly")), 406);
    EXPECT_EQ(StatusOf(kSessionPart + With(VideoSection(), "SAVPF", "SAVP")), 406);
    EXPECT_EQ(StatusOf(kSessionPart + Without(VideoSection(), "packetization-mode=1")), 406);
    EXPECT_EQ(StatusOf(kSessionPart + Without(VideoSection(), "a=rtcp-mux\r\n")), 406);
}

TEST(WhepOffer, RefusesWhatIsNoOffer) {
    const std::string offer = BrowserOffer();
    for (const std::string& bad :
         {std::string(), std::string("v=0"), std::string(kSessionPart), std::string(60000, 'v'),
          std::string("v=0\r\nnonsense\r\n"), offer + "a=x\x01\r\n", offer + "\r\n\r\nm=x\r\n",
          With(offer, "m=video 9", "m=video 99999"), With(offer, "a=mid:v", "a=mid:v\tv"),
          With(offer, "sha-256 AB:CD:01", "sha-256 AB:CX:01"),
          With(offer, "sha-256 AB:CD:01", "sha-256 "),
          With(offer, "a=ice-ufrag:abcd", "a=ice-ufrag:a b"),
          With(offer, "0123456789abcdefghijkl", "short"),
          With(offer, "setup:actpass", "setup:hold")})
        EXPECT_EQ(StatusOf(bad), 400) << testing::PrintToString(bad.substr(0, 300));
    std::string many = offer;
    for (size_t i = 0; i < kMostSections; ++i)
        many += "m=audio 9 X 0\r\n";
    EXPECT_EQ(StatusOf(many), 400);
    std::string lines = offer;
    for (int i = 0; i < 3000; ++i)
        lines += "a=x\r\n";
    EXPECT_EQ(StatusOf(lines), 400);
}

}  // namespace
