// What one media unit costs on its way to the players, beside the least it could cost: a plain loop
// of virtual calls over a vector. The stream server does nothing, so only the module is measured.
//
//   media/clients:N       one stream with N players
//   floor/clients:N       the same calls without a module
//   media/streams:N       one player, N streams in the table
//   media|floor/threads   a stream of its own for every thread
//
// "allocations" counts heap allocations per unit. The by-value key of the interface is one of them
// for texts as long as a stream key.
#include <benchmark/benchmark.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "bench/AllocationCount.h"
#include "bench/NullFamily.h"
#include "module/CommandRecord.h"
#include "platform/CreateCommandBusInstance.h"
#include "platform/SysCommandHelper.h"
#include "videodevice/VideoDeviceModule.h"

namespace {

constexpr int kUnitLength = 1400;

/// A module with some live streams, all with the same number of players.
class Running {
public:
    Running(int streams, int clients) {
        module_.SetConnectionControl(&controller_);
        module_.Init("bench", "{}");
        Command(&VideoDeviceModule::DevicesEnqueue, R"([{"id": "d"}])");
        for (int channel = 0; channel < streams; ++channel) {
            Command(&VideoDeviceModule::GetPreviewUrl,
                    R"({"id": "d", "channel": )" + std::to_string(channel) + "}");
            for (int client = 0; client < clients; ++client)
                Attach(factory_.keys.back(), client);
        }
    }
    ~Running() { CreateCommandBusInstance()->UnregisterModule("bench"); }

    const std::string& Key(int stream) const { return factory_.keys[static_cast<size_t>(stream)]; }
    int Deliver(const std::string& key) {
        return module_.SteramCallback(key, unit_.data(), kUnitLength);
    }

private:
    void Command(void (VideoDeviceModule::*handler)(__tagTvCommand*), const std::string& body) {
        __tagTvCommand command;
        command.deviceId = "d";
        command.body = body;
        (module_.*handler)(&command);
    }
    void Attach(const std::string& key, int client) {
        __tagTvCommand* const request = SysCommandHelper::CreateRequestCommand(
            TV_STREAM_PREVIEW_START, "player", key.c_str(), "", "");
        module_.OnRecv(client, request, 0);
        SysCommandHelper::ReleaseCommand(request);
    }

    bench::NullController controller_;
    bench::NullFactory factory_;
    VideoDeviceModule module_{&factory_};
    std::array<char, kUnitLength> unit_{};
};

/// The least a unit costs: the by-value key, and a virtual call for every player.
int DeliverFloor(std::string key, IStreamConnectionController* controller,
                 const std::vector<long long>& clients, const char* data) {
    benchmark::DoNotOptimize(key.data());
    int result = 0;
    for (const long long client : clients)
        result = controller->SendData(client, data, kUnitLength, false);
    return result;
}

void CountAllocations(benchmark::State& state, int64_t before) {
    state.counters["allocations"] =
        benchmark::Counter(static_cast<double>(vms::bench::AllocationsOfThread() - before),
                           benchmark::Counter::kAvgIterations | benchmark::Counter::kAvgThreads);
}

// What all threads of one run share; set up by the first before the others leave the start.
std::unique_ptr<Running> shared;

void SetUp(const benchmark::State& state) {
    shared = std::make_unique<Running>(static_cast<int>(state.range(1)),
                                       static_cast<int>(state.range(0)));
}

void TearDown(const benchmark::State&) {
    shared.reset();
}

void Media(benchmark::State& state) {
    const std::string key = shared->Key(state.thread_index() % static_cast<int>(state.range(1)));
    const int64_t before = vms::bench::AllocationsOfThread();
    for (auto _ : state)
        benchmark::DoNotOptimize(shared->Deliver(key));
    CountAllocations(state, before);
    state.SetItemsProcessed(state.iterations());
}

void Floor(benchmark::State& state) {
    bench::NullController nullController;
    IStreamConnectionController* controller = &nullController;
    benchmark::DoNotOptimize(controller);
    std::vector<long long> clients(static_cast<size_t>(state.range(0)));
    for (size_t i = 0; i < clients.size(); ++i)
        clients[i] = static_cast<long long>(i);
    const std::string key(36, 'k');
    const std::array<char, kUnitLength> unit{};
    const int64_t before = vms::bench::AllocationsOfThread();
    for (auto _ : state)
        benchmark::DoNotOptimize(DeliverFloor(key, controller, clients, unit.data()));
    CountAllocations(state, before);
    state.SetItemsProcessed(state.iterations());
}

}  // namespace

BENCHMARK(Floor)->Name("floor")->ArgNames({"clients"})->Arg(1)->Arg(10)->Arg(100)->Arg(1000);
BENCHMARK(Media)
    ->Name("media")
    ->ArgNames({"clients", "streams"})
    ->Setup(SetUp)
    ->Teardown(TearDown)
    ->Args({1, 1})
    ->Args({10, 1})
    ->Args({100, 1})
    ->Args({1000, 1})
    ->Args({1, 1000});
BENCHMARK(Floor)
    ->Name("floor/threads")
    ->ArgNames({"clients"})
    ->Arg(10)
    ->Arg(100)
    ->ThreadRange(1, 2)
    ->UseRealTime();
BENCHMARK(Media)
    ->Name("media/threads")
    ->ArgNames({"clients", "streams"})
    ->Setup(SetUp)
    ->Teardown(TearDown)
    ->Args({10, 2})
    ->Args({100, 2})
    ->Args({100, 1000})
    ->ThreadRange(1, 2)
    ->UseRealTime();

BENCHMARK_MAIN();
