// What comes back from the bus: answers, ends of handlers, notifications, and how each is called
// off.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "BusTestSupport.h"
#include "platform/CreateCommandBusInstance.h"
#include "platform/bus/CommandBus.h"

namespace vms::test {
namespace {

constexpr auto kId = TV_CMD_SEARCH_DEVICE;

TEST(BusDelivery, PagesInOrderThenTheEndOfTheHandler) {
    Journal journal;
    CommandBus bus;
    bus.RegisterCommand(kModule, kId, [&](__tagTvCommand* request) {
        for (const char* page : {"start", "camera", "end"})
            EXPECT_TRUE(Answer(bus, request, page));
    });
    const int64_t serial = bus.Post(kModule, Request(kId), BodiesTo(journal),
                                    [&](bool threw) { journal.Add(threw ? "threw" : "handled"); });
    ASSERT_TRUE(journal.WaitFor(4));
    EXPECT_EQ(journal.Entries(), (std::vector<std::string>{"start", "camera", "end", "handled"}));
    EXPECT_EQ(serial & 0xffffffff, kId);
    EXPECT_GT(serial >> 32, 0);
    EXPECT_EQ(bus.Stats().responses, 3u);
}

TEST(BusDelivery, WorkerAnswersLateFromACopyOfTheRequest) {
    std::promise<__tagTvCommand> copy;
    Journal journal;
    CommandBus bus;
    bus.RegisterCommand(kModule, kId, [&](__tagTvCommand* request) { copy.set_value(*request); });
    bus.Post(kModule, Request(kId, "device", "body"), BodiesTo(journal),
             [&](bool) { journal.Add("handled"); });
    ASSERT_TRUE(journal.WaitFor(1));
    const __tagTvCommand request = copy.get_future().get();
    EXPECT_EQ(request.deviceId, "device");
    EXPECT_TRUE(Answer(bus, &request, "late"));
    ASSERT_TRUE(journal.WaitFor(2));
    EXPECT_EQ(journal.Entries(), (std::vector<std::string>{"handled", "late"}));
}

TEST(BusDelivery, NobodyWaitsForAnAnswer) {
    std::promise<int64_t> seen;
    CommandBus bus;
    bus.RegisterCommand(kModule, kId,
                        [&](__tagTvCommand* request) { seen.set_value(request->serial); });
    const int64_t serial = bus.Post(kModule, Request(kId), {});
    EXPECT_EQ(seen.get_future().get(), serial);
    __tagTvCommand response = Request(kId);
    for (const int64_t stranger : {serial, int64_t{0}, int64_t{-1}, INT64_MAX}) {
        response.serial = stranger;
        EXPECT_FALSE(bus.SendResponse(&response)) << stranger;
    }
    EXPECT_EQ(bus.Stats().droppedResponses, 4u);
}

TEST(BusDelivery, ACallbackThatBlocksDoesNotHoldUpTheNextHandlerOfItsDevice) {
    Gate posted;
    Gate gate;
    Journal journal;
    CommandBus bus;
    bus.RegisterCommand(kModule, kId, [&](__tagTvCommand* request) {
        posted.Wait();
        Answer(bus, request, "answer");
        journal.Add(request->body);
    });
    for (const char* body : {"first", "second"})
        bus.Post(kModule, Request(kId, "a", body), [&](const __tagTvCommand&) { gate.Wait(); });
    posted.Open();
    EXPECT_TRUE(journal.WaitFor(2));
    EXPECT_EQ(journal.Count("second"), 1u);
    gate.Open();
}

TEST(BusDelivery, AnAnswerInTheMiddleOfAHandlerDoesNotWaitForItsEnd) {
    Gate gate;
    Journal journal;
    CommandBus bus;
    bus.RegisterCommand(kModule, kId, [&](__tagTvCommand* request) {
        Answer(bus, request, "page");
        if (request->body == "long")
            gate.Wait();
    });
    for (size_t round = 1; round <= 20; ++round) {
        bus.Post(kModule, Request(kId, "", "short"), BodiesTo(journal));
        ASSERT_TRUE(journal.WaitFor(round));
    }
    bus.Post(kModule, Request(kId, "", "long"), BodiesTo(journal));
    EXPECT_TRUE(journal.WaitFor(21));
    gate.Open();
}

TEST(BusDelivery, ThrowingCallbacksDoNotStopDelivery) {
    Journal journal;
    CommandBus bus;
    bus.RegisterCommand(kModule, kId, [&](__tagTvCommand* request) {
        Answer(bus, request, "1");
        Answer(bus, request, "2");
    });
    bus.Post(
        kModule, Request(kId, "a"),
        [&](const __tagTvCommand& response) {
            journal.Add(response.body);
            if (response.body == "1")
                throw std::runtime_error("first");
            throw 2;
        },
        [&](bool) {
            journal.Add("handled");
            throw 3;
        });
    bus.Post(kModule, Request(kId, "a"), {}, [&](bool) { journal.Add("next"); });
    ASSERT_TRUE(journal.WaitFor(4));
    EXPECT_EQ(journal.Entries(), (std::vector<std::string>{"1", "2", "handled", "next"}));
}

TEST(BusCancel, FromInsideACallbackIsItsLast) {
    Journal journal;
    CommandBus bus;
    auto held = std::make_shared<int>(0);
    bus.RegisterCommand(kModule, kId, [&](__tagTvCommand* request) {
        Answer(bus, request, "1");
        Answer(bus, request, "2");
    });
    bus.Post(
        kModule, Request(kId, "a"),
        [&, held](const __tagTvCommand& response) {
            bus.Cancel(response.serial);
            journal.Add(response.body + std::to_string(*held));
        },
        [&](bool) { journal.Add("handled"); });
    bus.Post(kModule, Request(kId, "a"), {}, [&](bool) { journal.Add("fence"); });
    ASSERT_TRUE(journal.WaitFor(2));
    EXPECT_EQ(journal.Entries(), (std::vector<std::string>{"10", "fence"}));
    EXPECT_EQ(held.use_count(), 1);
}

TEST(BusCancel, WaitsForARunningCallbackAndFreesWhatItHeld) {
    Gate gate;
    std::promise<void> inside;
    std::atomic<bool> left{false};
    CommandBus bus;
    auto held = std::make_shared<int>(0);
    bus.RegisterCommand(kModule, kId, [&](__tagTvCommand* request) { Answer(bus, request, ""); });
    const int64_t serial = bus.Post(kModule, Request(kId), [&, held](const __tagTvCommand&) {
        inside.set_value();
        gate.Wait();
        left = true;
    });
    inside.get_future().wait();
    auto cancelled = std::async(std::launch::async, [&] {
        bus.Cancel(serial);
        return left.load() && held.use_count() == 1;
    });
    gate.Open();
    EXPECT_TRUE(cancelled.get());
}

/// The captured object uses the bus when it goes, which would deadlock under a lock of the bus.
TEST(BusCancel, CapturesAreDestroyedWithoutALock) {
    struct Caller {
        CommandBus* bus;
        ~Caller() { bus->Cancel(bus->Subscribe(kId, {})); }
    };
    Gate gate;
    CommandBus bus;
    bus.RegisterCommand(kModule, kId, [&](__tagTvCommand*) { gate.Wait(); });
    auto caller = std::make_shared<Caller>(Caller{&bus});
    const std::weak_ptr<Caller> watched = caller;
    const auto serial = bus.Post(kModule, Request(kId), [c = caller](const __tagTvCommand&) {});
    const auto token = bus.Subscribe(kId, [c = std::move(caller)](const __tagTvCommand&) {});
    bus.Unsubscribe(token);
    EXPECT_FALSE(watched.expired());
    bus.Cancel(serial);
    EXPECT_TRUE(watched.expired());
    gate.Open();
}

TEST(BusDelivery, QueueFullDropsAnswersAndRefusesRequestsButNotTheEndOfHandlers) {
    Gate gate;
    Journal journal;
    CommandBus bus(CommandBusOptions{.maxWaitingDeliveries = 3});
    std::promise<void> inside;
    bus.RegisterCommand(kModule, kId, [&](__tagTvCommand* request) {
        if (request->body == "blocker") {
            Answer(bus, request, "blocker");
            inside.get_future().wait();
        }
        int sent = 0;
        for (int i = 0; i < 5; ++i)
            sent += Answer(bus, request, "answer") ? 1 : 0;
        journal.Add("sent " + std::to_string(sent));
    });
    bus.Post(
        kModule, Request(kId, "a", "blocker"),
        [&](const __tagTvCommand& response) {
            if (response.body == "blocker") {
                inside.set_value();
                gate.Wait();
            }
            journal.Add(response.body);
        },
        [&](bool) { journal.Add("handled"); });
    ASSERT_TRUE(journal.WaitFor(1));
    EXPECT_EQ(journal.Entries(), std::vector<std::string>{"sent 3"});
    bus.Subscribe(TV_CMD_DEVICE_STATUS, BodiesTo(journal));
    auto notification = Request(TV_CMD_DEVICE_STATUS);
    EXPECT_FALSE(bus.SendRequest(&notification));
    EXPECT_EQ(bus.Post(kModule, Request(kId, "b"), BodiesTo(journal)), ICommandBus::kQueueFull);
    EXPECT_EQ(bus.Stats().droppedResponses, 2u);
    EXPECT_EQ(bus.Stats().droppedNotifications, 1u);
    gate.Open();
    ASSERT_TRUE(journal.WaitFor(6));
    EXPECT_EQ(journal.Count("answer"), 3u);
    EXPECT_EQ(journal.Entries().back(), "handled");
}

/// A bus whose time stands still until it is told to move.
class BusExpiry : public testing::Test {
protected:
    using Seconds = std::chrono::seconds;

    /// The delivery thread looks at the clock when it has been woken.
    void PassSeconds(int seconds) {
        now_ += seconds;
        bus_.Post(kModule, Request(TV_CMD_PTZ_CONTROL), {}, [&](bool) { fences_.Add("fence"); });
        ASSERT_TRUE(fences_.WaitFor(++passed_));
    }

    int64_t PostRequest() {
        return bus_.Post(kModule, Request(kId), [this, held = held_](const __tagTvCommand& answer) {
            journal_.Add(answer.body);
        });
    }

    bool AnswerTo(int64_t serial, const char* body) {
        __tagTvCommand request = Request(kId);
        request.serial = serial;
        return Answer(bus_, &request, body);
    }

    void SetUp() override {
        bus_.RegisterCommand(kModule, kId, [](__tagTvCommand*) {});
        bus_.RegisterCommand(kModule, TV_CMD_PTZ_CONTROL, [](__tagTvCommand*) {});
    }

    std::atomic<int> now_{1'000};
    size_t passed_ = 0;
    Journal journal_;
    Journal fences_;
    std::shared_ptr<int> held_ = std::make_shared<int>(0);
    CommandBus bus_{CommandBusOptions{
        .clock = [this] { return std::chrono::steady_clock::time_point(Seconds(now_)); }}};
};

TEST_F(BusExpiry, SeventySecondsAfterThePostOrTheLastAnswer) {
    const int64_t silent = PostRequest();
    const int64_t lively = PostRequest();
    PassSeconds(69);
    EXPECT_EQ(held_.use_count(), 3);
    EXPECT_TRUE(AnswerTo(lively, "page"));
    ASSERT_TRUE(journal_.WaitFor(1));
    PassSeconds(1);
    EXPECT_FALSE(AnswerTo(silent, "too late"));
    EXPECT_TRUE(AnswerTo(lively, "page"));
    ASSERT_TRUE(journal_.WaitFor(2));
    PassSeconds(69);
    EXPECT_TRUE(AnswerTo(lively, "page"));
    ASSERT_TRUE(journal_.WaitFor(3));
    PassSeconds(70);
    PassSeconds(0);  // what expired in the pass before is destroyed by now
    EXPECT_FALSE(AnswerTo(lively, "too late"));
    EXPECT_EQ(held_.use_count(), 1);
    EXPECT_EQ(journal_.Count("page"), 3u);
    EXPECT_EQ(journal_.Entries().size(), 3u);
    EXPECT_GE(bus_.Stats().expired, 2u);
}

TEST(BusExpiryByItself, HappensWithoutAnyTraffic) {
    CommandBus bus(CommandBusOptions{.lifetime = std::chrono::milliseconds(1)});
    bus.RegisterCommand(kModule, kId, [](__tagTvCommand*) {});
    auto held = std::make_shared<int>(0);
    bus.Post(kModule, Request(kId), [held](const __tagTvCommand&) {});
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (held.use_count() > 1 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::yield();
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_EQ(bus.Stats().expired, 1u);
}

TEST(BusNotification, ReachesEverySubscriberOfItsIdentifierInOrder) {
    Journal first;
    Journal second;
    CommandBus bus;
    auto notification = Request(TV_CMD_DEVICE_STATUS, "", "1");
    EXPECT_FALSE(bus.SendRequest(&notification));
    const int64_t token = bus.Subscribe(TV_CMD_DEVICE_STATUS, BodiesTo(first));
    bus.Subscribe(TV_CMD_DEVICE_STATUS, BodiesTo(second));
    bus.Subscribe(TV_CMD_SOURCE_MESSAGE, [&](const __tagTvCommand&) { first.Add("stray"); });
    bus.Subscribe(TV_CMD_DEVICE_STATUS, {});
    EXPECT_TRUE(bus.SendRequest(&notification));
    notification.body = "2";
    EXPECT_TRUE(bus.SendRequest(&notification));
    ASSERT_TRUE(second.WaitFor(2));
    EXPECT_EQ(second.Entries(), (std::vector<std::string>{"1", "2"}));
    EXPECT_EQ(first.Entries(), second.Entries());
    bus.Unsubscribe(token);
    EXPECT_TRUE(bus.SendRequest(&notification));
    ASSERT_TRUE(second.WaitFor(3));
    EXPECT_EQ(first.Entries().size(), 2u);
}

TEST(BusNotification, UnsubscribingInsideTheCallbackEndsItThere) {
    Journal journal;
    CommandBus bus;
    std::atomic<int64_t> token{0};
    token = bus.Subscribe(TV_CMD_DEVICE_STATUS, [&](const __tagTvCommand& notification) {
        bus.Unsubscribe(token);
        journal.Add(notification.body);
    });
    auto notification = Request(TV_CMD_DEVICE_STATUS, "", "once");
    bus.SendRequest(&notification);
    bus.SendRequest(&notification);
    bus.Subscribe(TV_CMD_DEVICE_STATUS, [&](const __tagTvCommand&) { journal.Add("fence"); });
    bus.SendRequest(&notification);
    ASSERT_TRUE(journal.WaitFor(2));
    EXPECT_EQ(journal.Entries(), (std::vector<std::string>{"once", "fence"}));
}

TEST(BusNotification, TargetMakesItARequestAndTheAnswerFindsThePoster) {
    Journal journal;
    CommandBus bus;
    bus.RegisterCommand("back", kId,
                        [&](__tagTvCommand* request) { Answer(bus, request, "back"); });
    bus.RegisterCommand("front", kId, [&](__tagTvCommand* request) {
        request->target = "back";
        EXPECT_TRUE(bus.SendRequest(request));
        request->serial = TV_CMD_PTZ_CONTROL;
        EXPECT_FALSE(bus.SendRequest(request));
    });
    bus.Subscribe(kId, [&](const __tagTvCommand&) { journal.Add("subscriber"); });
    bus.Post("front", Request(kId), BodiesTo(journal));
    ASSERT_TRUE(journal.WaitFor(1));
    auto request = Request(kId);
    request.target = "nobody";
    EXPECT_TRUE(bus.SendRequest(&request));
    ASSERT_TRUE(journal.WaitFor(2));
    EXPECT_EQ(journal.Entries(), (std::vector<std::string>{"back", "subscriber"}));
}

TEST(BusInstance, IsOneAndReportsItsFigures) {
    ICommandBus* const bus = CreateCommandBusInstance();
    ASSERT_EQ(bus, CreateCommandBusInstance());
    std::promise<void> handled;
    bus->RegisterCommand(kModule, kId, [](__tagTvCommand*) {});
    const CommandBusStats before = GetCommandBusStats();
    bus->Post(kModule, Request(kId), {}, [&](bool) { handled.set_value(); });
    handled.get_future().wait();
    EXPECT_TRUE(bus->UnregisterModule(kModule));
    EXPECT_EQ(GetCommandBusStats().handled, before.handled + 1);
    EXPECT_GE(GetCommandBusStats().workers, 1u);
}

}  // namespace
}  // namespace vms::test
