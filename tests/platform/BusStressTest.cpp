// Everything at once for a bounded number of rounds; the sanitizers do most of the judging.

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "BusTestSupport.h"
#include "platform/bus/CommandBus.h"

namespace vms::test {
namespace {

constexpr auto kId = TV_CMD_GET_CAPABILITY;
constexpr int kRounds = 300;

/// Posts and calls off; a callback that runs after its Cancel touches memory that is gone.
void PostAndCancel(CommandBus& bus, int seed, std::atomic<int>& late) {
    for (int round = 0; round < kRounds; ++round) {
        auto alive = std::make_unique<std::atomic<bool>>(true);
        auto touch = [flag = alive.get(), &late](const __tagTvCommand&) {
            if (!flag->load())
                ++late;
        };
        const auto id = round % 16 == 0 ? TV_CMD_DEVICES_ENQUEUE : kId;
        const int64_t serial = bus.Post(kModule, Request(id, std::to_string((round + seed) % 5)),
                                        touch, [touch](bool) { touch(__tagTvCommand{}); });
        if (round % 3 == seed % 3)
            std::this_thread::yield();
        if (serial > 0)
            bus.Cancel(serial);
        *alive = false;
    }
}

void SubscribeAndEnd(CommandBus& bus, std::atomic<int>& late) {
    for (int round = 0; round < kRounds; ++round) {
        auto alive = std::make_unique<std::atomic<bool>>(true);
        const int64_t token =
            bus.Subscribe(TV_CMD_DEVICE_STATUS, [flag = alive.get(), &late](const __tagTvCommand&) {
                if (!flag->load())
                    ++late;
            });
        auto notification = Request(TV_CMD_DEVICE_STATUS);
        bus.SendRequest(&notification);
        bus.Unsubscribe(token);
        *alive = false;
    }
}

void RegisterAndUnregister(CommandBus& bus) {
    for (int round = 0; round < kRounds / 10; ++round) {
        for (const auto id : {kId, TV_CMD_DEVICES_ENQUEUE})
            bus.RegisterCommand(kModule, id, [&bus](__tagTvCommand* request) {
                Answer(bus, request, "1");
                Answer(bus, request, "2");
                if (request->deviceId == "3")
                    throw std::runtime_error("odd one out");
            });
        std::this_thread::yield();
        if (round % 2 == 0)
            bus.UnregisterModule(kModule);
    }
}

TEST(BusStress, PostCancelSubscribeRegisterTogether) {
    std::atomic<int> late{0};
    CommandBus bus(CommandBusOptions{
        .workers = {.baseWorkers = 2, .maxWorkers = 6, .idleTime = std::chrono::milliseconds(1)}});
    std::vector<std::thread> threads;
    threads.emplace_back([&] { RegisterAndUnregister(bus); });
    threads.emplace_back([&] { SubscribeAndEnd(bus, late); });
    for (int seed = 0; seed < 3; ++seed)
        threads.emplace_back([&, seed] { PostAndCancel(bus, seed, late); });
    for (std::thread& thread : threads)
        thread.join();
    bus.UnregisterModule(kModule);
    EXPECT_EQ(late, 0);
    const CommandBusStats stats = bus.Stats();
    EXPECT_EQ(stats.posted, stats.handled);
    EXPECT_EQ(stats.queued, 0u);
}

TEST(BusStress, EveryRequestIsAnsweredOnceAndInOrder) {
    constexpr int kDevices = 7;
    constexpr int kRequests = 2'000;
    CommandBus bus;
    bus.RegisterCommand(kModule, kId, [&](__tagTvCommand* request) {
        Answer(bus, request, request->body.c_str());
    });
    std::vector<int> last(kDevices, -1);
    std::atomic<int> answered{0};
    std::atomic<int> misplaced{0};
    for (int i = 0; i < kRequests; ++i) {
        const int64_t serial =
            bus.Post(kModule, Request(kId, std::to_string(i % kDevices), std::to_string(i)),
                     [&](const __tagTvCommand& answer) {
                         int& before = last[static_cast<size_t>(std::stoi(answer.deviceId))];
                         misplaced += std::stoi(answer.body) > before ? 0 : 1;
                         before = std::stoi(answer.body);
                         ++answered;
                     });
        ASSERT_GT(serial, 0);
    }
    EXPECT_TRUE(bus.UnregisterModule(kModule));
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (answered < kRequests && std::chrono::steady_clock::now() < deadline)
        std::this_thread::yield();
    EXPECT_EQ(answered, kRequests);
    EXPECT_EQ(misplaced, 0);
}

/// A bus that is destroyed with work in every state ends, and calls nothing afterwards.
TEST(BusStress, DestructionWithWorkInFlight) {
    for (int round = 0; round < 20; ++round) {
        Journal journal;
        auto bus = std::make_unique<CommandBus>();
        auto* const raw = bus.get();
        bus->RegisterCommand(kModule, kId,
                             [raw](__tagTvCommand* request) { Answer(*raw, request, "answer"); });
        for (int i = 0; i < 50; ++i)
            bus->Post(kModule, Request(kId, std::to_string(i % 10)), BodiesTo(journal));
        bus.reset();
        EXPECT_LE(journal.Entries().size(), 50u);
    }
}

}  // namespace
}  // namespace vms::test
