// The library that speaks WebRTC, with nobody at the other end: what it answers, and that it ends.
#include <dlfcn.h>
#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/players/whep/SdpText.h"
#include "host/players/whep/WhepOffer.h"
#include "host/players/whep/WhepPlugin.h"
#include "host/process/LogSink.h"
#include "platform/Mutex.h"
#include "tests/host/net/TestUnit.h"
#include "tests/host/whep/Offers.h"

/// What GLib keeps for the life of the process, from the moment it is loaded. That no session is
/// kept the tests see for themselves.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libglib-2.0.so";
}

namespace {

using namespace vms::host;
using namespace vms::host::test;
using vms::whep::Engine;
using vms::whep::Session;
using vms::whep::SessionEvents;
using vms::whep::SessionRequest;

class Events final : public SessionEvents {
public:
    void Answered(const std::string& answer) noexcept override { Set(answer_, answer); }
    void Connected() noexcept override {}
    void PictureWanted() noexcept override {}
    void Ended(const std::string& reason) noexcept override { Set(reason_, reason); }

    /// Waits for either. @return false when neither came
    [[nodiscard]] bool Wait() VMS_EXCLUDES(mutex_) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        vms::MutexLock lock(mutex_);
        while (answer_.empty() && reason_.empty()) {
            if (!changed_.WaitUntil(mutex_, deadline))
                return false;
        }
        return true;
    }

    std::string Answer() VMS_EXCLUDES(mutex_) {
        vms::MutexLock lock(mutex_);
        return answer_;
    }
    std::string Reason() VMS_EXCLUDES(mutex_) {
        vms::MutexLock lock(mutex_);
        return reason_;
    }

private:
    void Set(std::string& member, const std::string& value) VMS_EXCLUDES(mutex_) {
        vms::MutexLock lock(mutex_);
        member = value;
        changed_.NotifyAll();
    }

    vms::Mutex mutex_;
    vms::CondVar changed_;
    std::string answer_;
    std::string reason_;
};

/// Threads of this process that belong to a pipeline.
int PipelineThreads() {
    int count = 0;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(thread.path() / "comm");
        std::string name;
        std::getline(file, name);
        count += name.rfind("webrtcbin", 0) == 0;  // others are used again, and keep their names
    }
    return count;
}

class WhepPluginTest : public testing::Test {
protected:
    WhepPluginTest() {
        void* const library = dlopen(WHEP_PLUGIN, RTLD_NOW | RTLD_LOCAL);
        EXPECT_NE(library, nullptr) << dlerror();
        create_ = reinterpret_cast<CreateWhepEngineFunction>(dlsym(library, "CreateWhepEngine"));
        engine_.reset(create_(vms::whep::kPluginVersion, &log_));
        EXPECT_EQ(ReadWhepOffer(BrowserOffer(), offer_).status, 0);
        choice_ = ChooseFrom(offer_, 0x42, WhepSound::kALaw);
    }

    SessionRequest Request() const {
        SessionRequest request;
        request.offer = NarrowOffer(offer_, choice_);
        request.videoPayload = choice_.video.payload;
        request.videoProfile = choice_.video.profile;
        request.audioPayload = choice_.audioPayload;
        request.hosts = {"127.0.0.1"};
        return request;
    }

    LogSink log_{"test", LogPrinting::kNothing};
    CreateWhepEngineFunction create_ = nullptr;
    std::unique_ptr<Engine> engine_;
    WhepOffer offer_;
    WhepChoice choice_;
};

TEST_F(WhepPluginTest, AnswersWithAddressesItWasGiven) {
    SessionRequest request = Request();
    request.firstPort = 42000;
    request.lastPort = 42999;
    const auto events = std::make_shared<Events>();
    const auto session = engine_->Open(request, events);
    ASSERT_TRUE(events->Wait());
    ASSERT_EQ(events->Reason(), "");
    const std::string answer = events->Answer();
    std::vector<SdpSection> sections;
    ASSERT_TRUE(ReadSdp(answer, sections));
    ASSERT_EQ(sections.size(), 3U);
    EXPECT_TRUE(sections[1].HasAttribute("sendonly")) << answer;
    EXPECT_TRUE(sections[2].HasAttribute("sendonly")) << answer;
    const auto candidates = sections[1].Attributes("candidate");
    EXPECT_FALSE(candidates.empty());
    for (const std::string_view candidate : candidates) {
        const auto words = Words(candidate);
        ASSERT_GE(words.size(), 6U);
        EXPECT_EQ(words[2], "UDP");
        EXPECT_EQ(words[4], "127.0.0.1");
        EXPECT_GE(ReadSmallNumber(words[5], 42999), 42000) << candidate;
    }
    EXPECT_NE(WidenAnswer(offer_, choice_, answer), "");
    session->Push(vms::MediaUnit::Copy(TestUnit(UnitType::kKey, 1, 100)), 0);
    EXPECT_EQ(session->WaitingBytes(), 0U) << "nobody has come";
}

TEST_F(WhepPluginTest, SaysWhyThereIsNoAnswer) {
    for (const std::string& offer :
         {std::string(), std::string("garbage\0\xff", 9), std::string(kSessionPart)}) {
        SessionRequest request = Request();
        request.offer = offer;
        const auto events = std::make_shared<Events>();
        const auto session = engine_->Open(request, events);
        ASSERT_TRUE(events->Wait()) << offer;
        EXPECT_EQ(WidenAnswer(offer_, choice_, events->Answer()), "") << offer;
    }
    SessionRequest elsewhere = Request();
    elsewhere.hosts = {"no address"};
    const auto events = std::make_shared<Events>();
    const auto session = engine_->Open(elsewhere, events);
    ASSERT_TRUE(events->Wait());
    EXPECT_NE(events->Reason(), "");
}

TEST_F(WhepPluginTest, EveryOfferIsAnswered) {
    for (int i = 0; i < 100; ++i) {
        const auto events = std::make_shared<Events>();
        const auto session = engine_->Open(Request(), events);
        ASSERT_TRUE(events->Wait());
        ASSERT_NE(WidenAnswer(offer_, choice_, events->Answer()), "")
            << i << ": " << events->Reason() << events->Answer();
    }
}

TEST_F(WhepPluginTest, SessionsMayBeDroppedAtAnyTime) {
    std::vector<std::shared_ptr<Session>> kept;
    const auto events = std::make_shared<Events>();
    for (int i = 0; i < 30; ++i) {
        const auto session = engine_->Open(Request(), events);
        if (i % 3 == 0)
            kept.push_back(session);
        if (i % 3 == 1) {
            ASSERT_TRUE(events->Wait());
        }
    }
    kept.clear();
    engine_.reset();
    EXPECT_EQ(events.use_count(), 1) << "who holds a session's events?";
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (PipelineThreads() > 0 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::yield();
    EXPECT_EQ(PipelineThreads(), 0);
}

TEST_F(WhepPluginTest, AnotherVersionIsRefused) {
    EXPECT_EQ(create_(vms::whep::kPluginVersion + 1, &log_), nullptr);
    EXPECT_EQ(create_(vms::whep::kPluginVersion, nullptr), nullptr);
}

}  // namespace
