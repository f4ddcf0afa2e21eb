// In which order requests run, and how registration and its end behave.

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "BusTestSupport.h"
#include "platform/ILogHandler.h"
#include "platform/bus/CommandBus.h"

namespace vms::test {
namespace {

constexpr auto kId = TV_CMD_GET_CAPABILITY;

TEST(BusOrder, OneDeviceInOrderOthersMeanwhile) {
    Gate gate;
    Journal journal;
    CommandBus bus;
    bus.RegisterCommand(kModule, kId, [&](__tagTvCommand* request) {
        if (request->body == "slow")
            gate.Wait();
        journal.Add(request->deviceId + request->body);
    });
    bus.Post(kModule, Request(kId, "a", "slow"), {});
    for (int i = 0; i < 20; ++i)
        bus.Post(kModule, Request(kId, "a", std::to_string(i)), {});
    bus.Post(kModule, Request(kId, "b"), {});
    ASSERT_TRUE(journal.WaitFor(1));
    EXPECT_EQ(journal.Entries(), std::vector<std::string>{"b"});
    gate.Open();
    ASSERT_TRUE(journal.WaitFor(22));
    std::vector<std::string> expected{"b", "aslow"};
    for (int i = 0; i < 20; ++i)
        expected.push_back("a" + std::to_string(i));
    EXPECT_EQ(journal.Entries(), expected);
}

TEST(BusOrder, HandlerThatRewritesItsRecordKeepsItsPlace) {
    Journal journal;
    CommandBus bus;
    bus.RegisterCommand(kModule, kId, [&](__tagTvCommand* request) {
        journal.Add(request->body);
        request->deviceId = "other";
        request->serial = 0;
    });
    for (const char* body : {"1", "2", "3"})
        bus.Post(kModule, Request(kId, "a", body), {});
    ASSERT_TRUE(journal.WaitFor(3));
    EXPECT_EQ(journal.Entries(), (std::vector<std::string>{"1", "2", "3"}));
    EXPECT_TRUE(bus.UnregisterModule(kModule));
}

TEST(BusOrder, WithoutADeviceThereIsNoneButForBarriers) {
    Gate gate;
    Journal journal;
    CommandBus bus;
    bus.RegisterCommand(kModule, kId, [&](__tagTvCommand* request) {
        if (request->body == "silent")
            gate.Wait();
        journal.Add(request->body);
    });
    bus.RegisterCommand(kModule, TV_CMD_DEVICES_ENQUEUE,
                        [&](__tagTvCommand*) { journal.Add("barrier"); });
    for (int i = 0; i < 3; ++i)
        bus.Post(kModule, Request(kId, "", "silent"), {});
    bus.Post(kModule, Request(kId, "", "prompt"), {});
    ASSERT_TRUE(journal.WaitFor(1));
    EXPECT_EQ(journal.Entries(), std::vector<std::string>{"prompt"});
    bus.Post(kModule, Request(TV_CMD_DEVICES_ENQUEUE), {});
    bus.Post(kModule, Request(kId, "", "after"), {});
    gate.Open();
    ASSERT_TRUE(journal.WaitFor(6));
    EXPECT_EQ(journal.Entries()[4], "barrier");
    EXPECT_EQ(journal.Entries()[5], "after");
}

class BusBarrier : public testing::TestWithParam<__enumTvCommand> {};

TEST_P(BusBarrier, RunsAloneBetweenEarlierAndLater) {
    Gate earlier;
    Gate barrier;
    Journal journal;
    CommandBus bus;
    bus.RegisterCommand(kModule, kId, [&](__tagTvCommand* request) {
        if (request->body == "before")
            earlier.Wait();
        journal.Add(request->body);
    });
    bus.RegisterCommand(kModule, GetParam(), [&](__tagTvCommand*) {
        journal.Add("begin");
        barrier.Wait();
        journal.Add("end");
    });
    bus.RegisterCommand("neighbour", kId, [&](__tagTvCommand*) { journal.Add("neighbour"); });
    bus.Post(kModule, Request(kId, "a", "before"), {});
    bus.Post(kModule, Request(kId, "b", "before"), {});
    bus.Post(kModule, Request(GetParam()), {});
    bus.Post(kModule, Request(kId, "c", "after"), {});
    bus.Post("neighbour", Request(kId), {});
    ASSERT_TRUE(journal.WaitFor(1));
    EXPECT_EQ(journal.Entries(), std::vector<std::string>{"neighbour"});
    earlier.Open();
    ASSERT_TRUE(journal.WaitFor(4));
    EXPECT_EQ(journal.Entries().back(), "begin");
    // A module of its own answers, so whatever could have overtaken the barrier has had its chance.
    bus.Post("neighbour", Request(kId), {});
    ASSERT_TRUE(journal.WaitFor(5));
    EXPECT_EQ(journal.Count("after"), 0u);
    barrier.Open();
    ASSERT_TRUE(journal.WaitFor(7));
    EXPECT_EQ(journal.Entries()[5], "end");
    EXPECT_EQ(journal.Entries()[6], "after");
}

INSTANTIATE_TEST_SUITE_P(Both, BusBarrier,
                         testing::Values(TV_CMD_DEVICES_ENQUEUE, TV_CMD_DEVICES_DEQUEUE));

/// Keeps what was logged. Formats nothing: the texts are arguments of fixed formats.
class RecordingLog final : public ILogHandler {
public:
    void SetLevel(int) override {}
    void Log(int level, const char*, const char*, ...) override {
        journal.Add(std::to_string(level));
        throw std::runtime_error("a sink of no use");
    }
    Journal journal;
};

TEST(BusOrder, ThrowingHandlerIsCountedLoggedAndDoesNotStopItsDevice) {
    RecordingLog log;
    Journal journal;
    CommandBus bus;
    bus.SetLog(&log);
    bus.RegisterCommand(kModule, kId, [&](__tagTvCommand* request) {
        if (request->body == "standard")
            throw std::out_of_range("too short");
        if (request->body == "odd")
            throw 7;
        Answer(bus, request, "answer");
    });
    for (const char* body : {"standard", "odd", "fine"})
        bus.Post(kModule, Request(kId, "a", body), BodiesTo(journal),
                 [&](bool threw) { journal.Add(threw ? "threw" : "handled"); });
    ASSERT_TRUE(journal.WaitFor(4));
    EXPECT_EQ(journal.Entries(), (std::vector<std::string>{"threw", "threw", "answer", "handled"}));
    EXPECT_EQ(log.journal.Entries(), (std::vector<std::string>{"3", "3"}));
    EXPECT_TRUE(bus.UnregisterModule(kModule));
    EXPECT_EQ(bus.Stats().handled, 3u);
    EXPECT_EQ(bus.Stats().threw, 2u);
}

TEST(BusRegistration, LatestHandlerOnceAndDisplacedOneFreed) {
    Journal journal;
    CommandBus bus;
    auto held = std::make_shared<int>(0);
    EXPECT_TRUE(
        bus.RegisterCommand(kModule, kId, [&, held](__tagTvCommand*) { journal.Add("first"); }));
    EXPECT_EQ(held.use_count(), 2);
    EXPECT_TRUE(bus.RegisterCommand(kModule, kId, [&](__tagTvCommand*) { journal.Add("second"); }));
    EXPECT_EQ(held.use_count(), 1);
    bus.Post(kModule, Request(kId), {});
    EXPECT_TRUE(bus.UnregisterModule(kModule));
    EXPECT_EQ(journal.Entries(), std::vector<std::string>{"second"});
}

TEST(BusRegistration, BadArgumentsAndUnknownNames) {
    CommandBus bus;
    const auto handler = [](__tagTvCommand*) {};
    EXPECT_FALSE(bus.RegisterCommand(nullptr, kId, handler));
    EXPECT_FALSE(bus.RegisterCommand("", kId, handler));
    EXPECT_FALSE(bus.RegisterCommand(kModule, kId, {}));
    EXPECT_EQ(bus.Post(nullptr, Request(kId), {}), ICommandBus::kNoHandler);
    EXPECT_EQ(bus.Post(kModule, Request(kId), {}), ICommandBus::kNoHandler);
    ASSERT_TRUE(bus.RegisterCommand(kModule, kId, handler));
    EXPECT_EQ(bus.Post(kModule, Request(TV_CMD_PTZ_CONTROL), {}), ICommandBus::kNoHandler);
    EXPECT_FALSE(bus.SendResponse(nullptr));
    EXPECT_FALSE(bus.SendRequest(nullptr));
    EXPECT_FALSE(bus.UnregisterModule(nullptr));
    EXPECT_FALSE(bus.UnregisterModule("stranger"));
    bus.Cancel(12345);
    bus.Unsubscribe(12345);
}

TEST(BusRegistration, UnregisterDrainsRefusesAndFreesHandlers) {
    Gate gate;
    Journal journal;
    CommandBus bus;
    auto held = std::make_shared<int>(0);
    bus.RegisterCommand(kModule, kId, [&, held](__tagTvCommand* request) {
        gate.Wait();
        journal.Add(request->body);
    });
    bus.Post(kModule, Request(kId, "a", "running"), {});
    bus.Post(kModule, Request(kId, "a", "queued"), {});
    auto ended = std::async(std::launch::async, [&] { return bus.UnregisterModule(kModule); });
    while (bus.Post(kModule, Request(kId, "b", "extra"), {}) >= 0)
        std::this_thread::yield();
    EXPECT_TRUE(journal.Entries().empty());
    gate.Open();
    EXPECT_TRUE(ended.get());
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_EQ(journal.Count("running"), 1u);
    EXPECT_EQ(journal.Count("queued"), 1u);
    EXPECT_EQ(bus.Stats().queued, 0u);
    EXPECT_EQ(bus.Stats().posted, bus.Stats().handled);
    EXPECT_TRUE(bus.RegisterCommand(kModule, kId, [](__tagTvCommand*) {}));
    EXPECT_GT(bus.Post(kModule, Request(kId), {}), 0);
}

TEST(BusRegistration, HandlerCannotUnregisterItsOwnModule) {
    std::promise<bool> own;
    std::promise<bool> other;
    CommandBus bus;
    bus.RegisterCommand("other", kId, [](__tagTvCommand*) {});
    bus.RegisterCommand(kModule, kId, [&](__tagTvCommand*) {
        own.set_value(bus.UnregisterModule(kModule));
        other.set_value(bus.UnregisterModule("other"));
    });
    bus.Post(kModule, Request(kId), {});
    EXPECT_FALSE(own.get_future().get());
    EXPECT_TRUE(other.get_future().get());
    EXPECT_TRUE(bus.UnregisterModule(kModule));
}

/// What the callback waits for must not wait behind the callback: neither the next request of the
/// device, nor an answer that one of the module's handlers needs, nor another module's end.
TEST(BusRegistration, UnregisterFromACallback) {
    Journal journal;
    CommandBus bus;
    std::promise<void> queued;
    auto queuedLater = queued.get_future().share();
    bus.RegisterCommand("inner", kId, [&](__tagTvCommand* request) { Answer(bus, request, ""); });
    bus.RegisterCommand("other", kId, [](__tagTvCommand*) {});
    bus.RegisterCommand(kModule, kId, [&](__tagTvCommand* request) {
        if (request->body == "A") {
            queuedLater.wait();
            Answer(bus, request, "A");
            return;
        }
        std::promise<void> inner;
        bus.Post("inner", Request(kId), [&](const __tagTvCommand&) { inner.set_value(); });
        const bool answered = inner.get_future().wait_for(kPatience) == std::future_status::ready;
        journal.Add(answered ? "B answered" : "B in vain");
    });
    bus.Post(kModule, Request(kId, "a", "A"), [&](const __tagTvCommand&) {
        journal.Add(bus.UnregisterModule("other") ? "other ended" : "other refused");
        journal.Add(bus.UnregisterModule(kModule) ? "ended" : "refused");
    });
    bus.Post(kModule, Request(kId, "a", "B"), {});
    queued.set_value();
    ASSERT_TRUE(journal.WaitFor(3));
    EXPECT_EQ(journal.Entries(), (std::vector<std::string>{"other ended", "B answered", "ended"}));
}

TEST(BusRegistration, FullQueueRefusesUntilThereIsRoom) {
    Gate gate;
    CommandBus bus(CommandBusOptions{.maxWaitingRequests = 10});
    std::promise<void> started;
    bus.RegisterCommand(kModule, kId, [&](__tagTvCommand* request) {
        if (request->body == "first")
            started.set_value();
        gate.Wait();
    });
    auto held = std::make_shared<int>(0);
    const auto callback = [held](const __tagTvCommand&) {};
    ASSERT_GT(bus.Post(kModule, Request(kId, "a", "first"), {}), 0);
    started.get_future().wait();
    for (int i = 0; i < 10; ++i)
        ASSERT_GT(bus.Post(kModule, Request(kId, "a"), {}), 0);
    EXPECT_EQ(bus.Post(kModule, Request(kId, "b"), callback), ICommandBus::kQueueFull);
    EXPECT_EQ(held.use_count(), 2) << "a refused request keeps nothing";
    auto forwarded = Request(kId, "a");
    forwarded.target = kModule;
    EXPECT_FALSE(bus.SendRequest(&forwarded));
    EXPECT_EQ(bus.Stats().queued, 10u);
    EXPECT_EQ(bus.Stats().refused, 2u);
    gate.Open();
    EXPECT_TRUE(bus.UnregisterModule(kModule));
    EXPECT_EQ(bus.Stats().handled, 11u);
}

}  // namespace
}  // namespace vms::test
