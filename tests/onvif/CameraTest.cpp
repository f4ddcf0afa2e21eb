// SOAP exchanges against simulated cameras, friendly, odd and hostile.
#include <gtest/gtest.h>

#include <future>

#include "onvif/OnvifImplement.h"
#include "tests/support/Devsim.h"

namespace {

using vms::test::Devsim;
using vms::test::SimulatedCamera;

std::string Query(const SimulatedCamera& camera, int index = 0, const char* password = nullptr) {
    OnvifImplement onvif;
    return onvif.GetStreamUri(camera.address.c_str(), camera.port, camera.user.c_str(),
                              password != nullptr ? password : camera.password.c_str(), index);
}

TEST(Camera, EveryMakeGivesItsStreamUri) {
    Devsim devsim({"--count", "8", "--no-rtsp", "--no-discovery"});
    for (size_t i = 0; i < devsim.Count(); ++i) {
        const SimulatedCamera& camera = devsim.Camera(i);
        SCOPED_TRACE(camera.personality);
        ASSERT_GE(camera.streams.size(), 2U);
        EXPECT_EQ(Query(camera, 0), camera.streams[0]);
        EXPECT_EQ(Query(camera, 1), camera.streams[1]);
        EXPECT_EQ(Query(camera, -1), "");
        EXPECT_EQ(Query(camera, 50), "");
        EXPECT_EQ(Query(camera, 0, "wrong"), "");
    }
}

TEST(Camera, OddButUsableAnswers) {
    Devsim devsim({"--count", "6", "--no-rtsp", "--no-discovery", "--fault", "0:noMedia", "--fault",
                   "1:otherHost=203.0.113.9", "--fault", "2:rtsps", "--fault", "3:profiles=200",
                   "--fault", "4:mustUnderstand", "--fault", "5:shortUri=rtsp:"});
    EXPECT_EQ(Query(devsim.Camera(0)), devsim.Camera(0).streams[0]);
    EXPECT_NE(Query(devsim.Camera(1)).find("203.0.113.9"), std::string::npos);
    EXPECT_EQ(Query(devsim.Camera(2)).substr(0, 8), "rtsps://");
    EXPECT_NE(Query(devsim.Camera(3), 199), "");
    EXPECT_EQ(Query(devsim.Camera(3), 200), "");
    EXPECT_EQ(Query(devsim.Camera(4)), devsim.Camera(4).streams[0]);
    EXPECT_EQ(Query(devsim.Camera(5)), "rtsp:");
}

/// What a camera may be told to call things.
struct Letters {
    const char* user;
    const char* password;
    const char* token;
    const char* host;
    const char* path;
};

/// Every make with these letters in whatever is read or sent.
void ExpectLettersPass(const Letters& letters, bool asReferences) {
    std::vector<std::string> options = {"--count", "5",          "--no-rtsp",  "--no-discovery",
                                        "--user",  letters.user, "--password", letters.password};
    for (const std::string& fault :
         {std::string("token=") + letters.token, std::string("otherHost=") + letters.host,
          std::string("mediaPath=") + letters.path})
        options.insert(options.end(), {"--fault", "*:" + fault});
    if (asReferences)
        options.insert(options.end(), {"--fault", "*:references"});
    Devsim devsim(options);
    OnvifImplement onvif;
    for (size_t i = 0; i < devsim.Count(); ++i) {
        const SimulatedCamera& camera = devsim.Camera(i);
        SCOPED_TRACE(camera.personality);
        const char* const ip = camera.address.c_str();
        const std::string root = "http://" + camera.address + ":" + std::to_string(camera.port);
        EXPECT_EQ(onvif.GetMediaUri(ip, camera.port, letters.user, letters.password),
                  root + letters.path);
        EXPECT_EQ(onvif.GetMediaToken(root + letters.path, ip, camera.port, letters.user,
                                      letters.password, 1),
                  std::string(letters.token) + "1");
        std::string uri = camera.streams[1];
        uri.replace(uri.find(camera.address), camera.address.size(), letters.host);
        EXPECT_EQ(onvif.GetStreamUri(ip, camera.port, letters.user, letters.password, 1), uri);
        EXPECT_EQ(onvif.GetStreamUri(ip, camera.port, "admin", letters.password, 1), "");
    }
}

TEST(Camera, TextsAreUtf8BothWays) {
    const Letters letters = {"админ <&> \"'", "пароль", "профиль & 通道 ", "камера\U0001F4F7;&a>b",
                             "/медиа\U0001F4F7"};
    ExpectLettersPass(letters, false);
    ExpectLettersPass(letters, true);
}

// Latin-1, and leads of longer letters in front of markup.
TEST(Camera, BytesThatAreNoUtf8PassAsTheyAre) {
    ExpectLettersPass({"\xe4ngst\xf0\x9f", "\xfc", "pr\xf6\xe4\xb8",
                       "k\xe4mera\xff\xc0\x80\xed\xa0\x80", "/m\xe9tro\xe4\xb8"},
                      false);
}

// Each is a way to fail, to be slow for ever, or to make a parser allocate, recurse or expand. All
// have to end as empty text; the wait is far beyond the transfer time-out of three exchanges.
TEST(Camera, BrokenAndHostileAnswersEndAsEmptyText) {
    const std::vector<std::string> faults = {"refused",
                                             "wrongPassword",
                                             "profiles=0",
                                             "profiles=2000",
                                             "mediaXAddrJunk",
                                             "emptyUri",
                                             "fault=ActionFailed",
                                             "fault@GetStreamUri=NoProfile",
                                             "capabilitiesEmpty",
                                             "hugeProfiles=16",
                                             "nonXml",
                                             "nonXml@GetProfiles",
                                             "notSoap",
                                             "deepNesting",
                                             "deepSecurity",
                                             "entities",
                                             "http500Html",
                                             "redirect",
                                             "silent",
                                             "silent@GetProfiles",
                                             "slow",
                                             "truncated",
                                             "truncated@GetStreamUri",
                                             "dropAfterHeaders",

                                             "huge",
                                             "huge=length",
                                             "huge=chunked",
                                             "wrongClock=86400"};
    std::vector<std::string> options = {"--count", std::to_string(faults.size()), "--no-rtsp",
                                        "--no-discovery"};
    for (size_t i = 0; i < faults.size(); ++i)
        options.insert(options.end(), {"--fault", std::to_string(i) + ":" + faults[i]});
    Devsim devsim(options);

    std::vector<std::future<std::string>> answers;
    for (size_t i = 0; i < faults.size(); ++i)
        answers.push_back(
            std::async(std::launch::async, [&devsim, i] { return Query(devsim.Camera(i)); }));
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    for (size_t i = 0; i < faults.size(); ++i) {
        ASSERT_EQ(answers[i].wait_until(deadline), std::future_status::ready) << faults[i];
        EXPECT_EQ(answers[i].get(), "") << faults[i];
    }
}

TEST(Camera, ThirtyTwoThreadsEachGetTheirOwnAnswer) {
    Devsim devsim({"--count", "32", "--no-rtsp", "--no-discovery"});
    std::vector<std::future<int>> wrong;
    for (size_t i = 0; i < devsim.Count(); ++i)
        wrong.push_back(std::async(std::launch::async, [&devsim, i] {
            const SimulatedCamera& camera = devsim.Camera(i);
            int failures = 0;
            for (int round = 0; round < 8; ++round)
                failures += Query(camera, round % 2) != camera.streams[round % 2];
            return failures;
        }));
    for (auto& failures : wrong)
        EXPECT_EQ(failures.get(), 0);
}

}  // namespace
