// How many threads the bus uses, and that stuck ones do not hold up the rest.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "BusTestSupport.h"
#include "platform/bus/CommandBus.h"
#include "platform/bus/WorkerPool.h"

namespace vms::test {
namespace {

constexpr auto kId = TV_CMD_GET_CAPABILITY;

template <class Condition>
[[nodiscard]] bool Eventually(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::yield();
    }
    return true;
}

TEST(BusPool, SilentCamerasDoNotBlockTheRest) {
    Gate gate;
    Journal journal;
    CommandBus bus;
    bus.RegisterCommand(kModule, kId, [&](__tagTvCommand* request) {
        if (request->body == "silent")
            gate.Wait();
        Answer(bus, request, request->deviceId.c_str());
    });
    for (int i = 0; i < 20; ++i)
        bus.Post(kModule, Request(kId, "silent" + std::to_string(i), "silent"), {});
    for (int i = 0; i < 5; ++i)
        bus.Post(kModule, Request(kId, "live" + std::to_string(i)), BodiesTo(journal));
    EXPECT_TRUE(journal.WaitFor(5));
    EXPECT_GE(bus.Stats().workers, 21u);
    gate.Open();
}

TEST(BusPool, AnswersTravelWhileEveryWorkerIsStuck) {
    Gate gate;
    Journal journal;
    CommandBus bus(CommandBusOptions{.workers = {.baseWorkers = 2, .maxWorkers = 2}});
    bus.RegisterCommand(kModule, kId, [&](__tagTvCommand* request) {
        Answer(bus, request, "page 1");
        Answer(bus, request, "page 2");
        gate.Wait();
    });
    bus.Post(kModule, Request(kId, "a"), BodiesTo(journal));
    bus.Post(kModule, Request(kId, "b"), BodiesTo(journal));
    EXPECT_TRUE(journal.WaitFor(4));
    EXPECT_EQ(bus.Stats().workers, 2u);
    gate.Open();
}

TEST(WorkerPool, GrowsToItsBoundWhileStuckAndShrinksWhenIdle) {
    Gate gate;
    std::atomic<int> running{0};
    std::atomic<int> done{0};
    WorkerPool pool({.baseWorkers = 2,
                     .maxWorkers = 8,
                     .idleTime = std::chrono::milliseconds(5),
                     .growAfter = std::chrono::milliseconds(1)});
    for (int i = 0; i < 12; ++i)
        pool.Submit([&] {
            ++running;
            gate.Wait();
            ++done;
        });
    EXPECT_TRUE(Eventually([&] { return running == 8; }));
    EXPECT_EQ(pool.Workers(), 8u);
    gate.Open();
    EXPECT_TRUE(Eventually([&] { return done == 12; }));
    EXPECT_TRUE(Eventually([&] { return pool.Workers() == 2; }));
    pool.Submit([&] { ++done; });
    EXPECT_TRUE(Eventually([&] { return done == 13; }));
}

TEST(WorkerPool, ShortTasksInBulkNeedNoMoreThanTheBase) {
    std::atomic<int> done{0};
    WorkerPool pool({.baseWorkers = 2, .growAfter = std::chrono::seconds(60)});
    for (int i = 0; i < 5'000; ++i)
        pool.Submit([&] { ++done; });
    EXPECT_TRUE(Eventually([&] { return done == 5'000; }));
    EXPECT_EQ(pool.Workers(), 2u);
}

TEST(WorkerPool, StopDropsWhatWaitsAndReleasesIt) {
    Gate gate;
    std::atomic<int> started{0};
    auto held = std::make_shared<int>(0);
    WorkerPool pool({.baseWorkers = 1, .maxWorkers = 1});
    for (int i = 0; i < 3; ++i)
        pool.Submit([&, held] {
            ++started;
            gate.Wait();
        });
    ASSERT_TRUE(Eventually([&] { return started == 1; }));
    std::thread opener([&] {
        while (held.use_count() > 2)  // the waiting tasks go before the running one has ended
            std::this_thread::yield();
        gate.Open();
    });
    pool.Stop();
    opener.join();
    EXPECT_EQ(started, 1);
    pool.Submit([&] { ++started; });
    EXPECT_EQ(started, 1);
    EXPECT_EQ(held.use_count(), 1);
}

}  // namespace
}  // namespace vms::test
