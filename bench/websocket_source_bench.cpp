// What turning a device's frame into a media unit costs, beside one copy of the payload: the two
// take turns in the same run. "over_copy_ns" is the difference, "allocations" counts heap
// allocations per frame beyond the key that the sink takes by value.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "bench/AllocationCount.h"
#include "videodevice/IStreamCallback.h"
#include "websocket/TaveroPreview_ws.h"

namespace {

using Clock = std::chrono::steady_clock;

class NullSink final : public IStreamCallback {
public:
    int SteramCallback(std::string, char* data, int) override {
        benchmark::DoNotOptimize(data);
        benchmark::ClobberMemory();
        return 0;
    }
    int MsgCallback(std::string, const char*) override { return 0; }
    void UpdateKeyFrame(std::string, char*, int) override {}
    int QueryDataCountToSend(std::string) override { return -1; }
};

std::string VideoFrame(size_t payload) {
    std::string frame(36 + payload, 'v');
    std::memset(frame.data(), 0, 36);
    frame[4] = 1;
    return frame;
}

template <class Work>
double NanosecondsOf(int count, Work work) {
    const auto begin = Clock::now();
    for (int i = 0; i < count; ++i)
        work();
    return std::chrono::duration<double, std::nano>(Clock::now() - begin).count() / count;
}

void BM_Reframe(benchmark::State& state) {
    constexpr int kBatch = 200;
    const auto payload = static_cast<size_t>(state.range(0));
    const std::string frame = VideoFrame(payload);
    NullSink sink;
    __tagTvVideoParam device;
    TaveroPreview_ws source(&device, nullptr);
    source.StartPreview("key", 0, 0, &sink);
    std::string copy(payload, '\0');
    const auto floorWork = [&] {
        std::memcpy(copy.data(), frame.data() + 36, payload);
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    };
    const auto reframe = [&] { source.OnRecv(1, frame.data(), static_cast<int>(frame.size())); };
    NanosecondsOf(kBatch, reframe);
    double floor = std::numeric_limits<double>::max();
    double cost = floor;
    const int64_t before = vms::bench::AllocationsOfThread();
    for (auto _ : state) {
        floor = std::min(floor, NanosecondsOf(kBatch, floorWork));
        const double batch = NanosecondsOf(kBatch, reframe);
        cost = std::min(cost, batch);
        state.SetIterationTime(batch * kBatch * 1e-9);
    }
    const auto frames = static_cast<double>(state.iterations()) * kBatch;
    state.counters["memcpy_ns"] = floor;
    state.counters["frame_ns"] = cost;
    state.counters["over_copy_ns"] = cost - floor;
    state.counters["allocations"] =
        static_cast<double>(vms::bench::AllocationsOfThread() - before) / frames;
}
BENCHMARK(BM_Reframe)->Arg(1'000)->Arg(20'000)->Arg(200'000)->UseManualTime()->Iterations(300);

}  // namespace

BENCHMARK_MAIN();
