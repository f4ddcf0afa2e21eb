// Look-ups that take for ever. This program's getaddrinfo stands in for a dead name server.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netdb.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

#include "platform/HostResolver.h"
#include "tests/platform/websocket/EventRecorder.h"
#include "tests/support/FrameServer.h"

namespace {

class DeadNameServer {
public:
    void Ask() {
        std::unique_lock lock(mutex_);
        ++asked_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return alive_; });
        --asked_;
        changed_.notify_all();
    }
    void WaitUntilAsked(int count) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return asked_ >= count; });
    }
    /// @param staysDead for those who ask later
    void Revive(bool staysDead = false) {
        std::unique_lock lock(mutex_);
        alive_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return asked_ == 0; });
        alive_ = !staysDead;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int asked_ = 0;
    bool alive_ = false;
};

DeadNameServer nameServer;

}  // namespace

extern "C" int getaddrinfo(const char* host, const char* service, const addrinfo* hints,
                           addrinfo** found) {
    const bool literal = hints != nullptr && (hints->ai_flags & AI_NUMERICHOST) != 0;
    if (!literal && host != nullptr && std::string_view(host) == "dead.test") {
        nameServer.Ask();
        return EAI_AGAIN;
    }
    static const auto real =
        reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    return real(host, service, hints, found);
}

namespace vms::test {
namespace {

/// Takes the port away from the dead look-ups' clients whatever the test's outcome.
struct Revival {
    ~Revival() { nameServer.Revive(true); }
};

TEST(NameLookUp, ADeadNameServerHoldsUpNobodyElse) {
    const Revival revival;
    FrameServer server;
    EventRecorder deadEvents;
    std::vector<ClientPtr> dead;
    for (int i = 0; i < 4; ++i) {
        dead.push_back(MakeClient(&deadEvents));
        ASSERT_TRUE(dead.back()->Connect("dead.test", server.Port(), "", "", 30'000, false));
    }
    nameServer.WaitUntilAsked(4);

    for (const char* host : {"127.0.0.1", "localhost"}) {
        EventRecorder events;
        const ClientPtr client = MakeClient(&events);
        ASSERT_TRUE(client->Connect(host, server.Port(), "", "", 20'000, false));
        ASSERT_NE(server.AcceptUpgraded(), nullptr) << host;
        EXPECT_TRUE(events.WaitForConnect()) << host;
    }

    EventRecorder impatientEvents;
    const ClientPtr impatient = MakeClient(&impatientEvents);
    ASSERT_TRUE(impatient->Connect("dead.test", server.Port(), "", "", 30, false));
    ASSERT_TRUE(impatientEvents.WaitForClose());
    EXPECT_EQ(impatientEvents.Last().code, -2);
    dead.clear();  // without waiting for the look-ups
    EXPECT_TRUE(deadEvents.Events().empty());
}

TEST(NameLookUp, TheEndOfAResolverLetsGoOfWhatAskersGave) {
    const Revival revival;
    auto given = std::make_shared<int>();
    const std::weak_ptr<int> kept = given;
    auto resolver = std::make_unique<HostResolver>(1);
    const auto wanted = std::make_shared<std::atomic<bool>>(true);
    ASSERT_TRUE(resolver->Resolve("dead.test", 80, wanted, [given](const auto&, const char*) {}));
    given.reset();
    nameServer.WaitUntilAsked(1);
    EXPECT_FALSE(kept.expired());
    resolver.reset();
    EXPECT_TRUE(kept.expired()) << "though the look-up is still under way";
}

TEST(NameLookUp, AFailedOneIsNoConnection) {
    nameServer.Revive();
    EventRecorder events;
    const ClientPtr client = MakeClient(&events);
    ASSERT_TRUE(client->Connect("dead.test", 80, "", "", 20'000, false));
    ASSERT_TRUE(events.WaitForClose());
    EXPECT_EQ(events.Last().code, -1);
    EXPECT_TRUE(events.Last().text.starts_with("look-up: ")) << events.Last().text;
}

}  // namespace
}  // namespace vms::test
