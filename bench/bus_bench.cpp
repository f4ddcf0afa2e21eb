// What a request costs on the command bus: beside the least that two threads need to hand a token
// back and forth, and in bulk.

#include <benchmark/benchmark.h>
#include <sched.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/CreateCommandBusInstance.h"
#include "platform/SysCommandHelper.h"
#include "platform/bus/CommandBus.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kModule = "bench";

/// A number that one thread raises and another waits for.
class Turnstile {
public:
    void Raise() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            ++value_;
        }
        raised_.notify_one();
    }

    void WaitFor(uint64_t value) {
        std::unique_lock<std::mutex> lock(mutex_);
        raised_.wait(lock, [this, value] { return value_ >= value; });
    }

private:
    std::mutex mutex_;
    std::condition_variable raised_;
    uint64_t value_ = 0;
};

/// Two threads that wake each other in turn: the floor for anything that crosses threads and back.
class PingPong {
public:
    PingPong() : partner_([this] { Answer(); }) {}

    ~PingPong() {
        stopping_ = true;
        ping_.Raise();
        partner_.join();
    }

    void Round() {
        ping_.Raise();
        pong_.WaitFor(++rounds_);
    }

private:
    void Answer() {
        for (uint64_t round = 1;; ++round) {
            ping_.WaitFor(round);
            if (stopping_)
                return;
            pong_.Raise();
        }
    }

    Turnstile ping_;
    Turnstile pong_;
    uint64_t rounds_ = 0;
    bool stopping_ = false;
    std::thread partner_;
};

/// Takes the one answer to a request. Forgetting the request from inside its callback spares the
/// poster from waiting until that has returned.
ICommandBus::Callback ForgetAndRaise(ICommandBus* bus, Turnstile& answered) {
    return [bus, &answered](const __tagTvCommand& response) {
        bus->Cancel(response.serial);
        answered.Raise();
    };
}

/// A poster that waits for the answer to each request.
class RoundTrip {
public:
    explicit RoundTrip(ICommandBus* bus) : bus_(bus) {
        request_.deviceId = "camera-1";
        request_.serial = TV_CMD_GET_CAPABILITY;
    }

    void Round() {
        bus_->Post(kModule, request_, ForgetAndRaise(bus_, answered_));
        answered_.WaitFor(++rounds_);
    }

private:
    ICommandBus* const bus_;
    __tagTvCommand request_;
    Turnstile answered_;
    uint64_t rounds_ = 0;
};

void RegisterEcho(ICommandBus& bus) {
    bus.RegisterCommand(kModule, TV_CMD_GET_CAPABILITY, [&bus](__tagTvCommand* request) {
        __tagTvCommand* response = g_commandHelper.CreateResponseCommand(request, 1, "{}");
        bus.SendResponse(response);
        g_commandHelper.ReleaseCommand(response);
    });
}

/// The processors the calling thread may run on; threads it starts inherit them.
class Affinity {
public:
    Affinity() { sched_getaffinity(0, sizeof allowed_, &allowed_); }
    ~Affinity() { sched_setaffinity(0, sizeof allowed_, &allowed_); }

    /// Binds the thread to the `index`-th of them. @return false when there are not so many
    bool Bind(int index) const {
        for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
            if (!CPU_ISSET(cpu, &allowed_) || index-- > 0)
                continue;
            cpu_set_t one;
            CPU_ZERO(&one);
            CPU_SET(cpu, &one);
            return sched_setaffinity(0, sizeof one, &one) == 0;
        }
        return false;
    }

private:
    cpu_set_t allowed_;
};

/// How often threads of this process have gone to sleep so far; each time, somebody woke them.
uint64_t Sleeps() {
    uint64_t sum = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream status(task.path() / "status");
        for (std::string line; std::getline(status, line);) {
            if (line.starts_with("voluntary_ctxt_switches:"))
                sum += std::stoull(line.substr(line.find(':') + 1));
        }
    }
    return sum;
}

double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

template <class Rounds>
double NanosecondsPerRound(Rounds& rounds, int count) {
    const auto begin = Clock::now();
    for (int i = 0; i < count; ++i)
        rounds.Round();
    return std::chrono::duration<double, std::nano>(Clock::now() - begin).count() / count;
}

enum Placement : int64_t { kOneCore, kTwoCores, kUnbound };

/// Alternates batches of both kinds, so that whatever else the machine does hits them alike. What
/// two threads cost each other depends on where they run, so both kinds get the same placement.
void BM_RoundTripAgainstPingPong(benchmark::State& state) {
    constexpr int kBatch = 500;
    const auto placement = static_cast<Placement>(state.range(0));
    const Affinity affinity;
    if (placement != kUnbound && !affinity.Bind(placement == kTwoCores ? 1 : 0)) {
        state.SkipWithError("too few processors");
        return;
    }
    PingPong pingPong;
    vms::CommandBus commandBus;
    RegisterEcho(commandBus);
    RoundTrip roundTrip(&commandBus);
    NanosecondsPerRound(roundTrip, kBatch);  // starts the threads of the bus
    if (placement != kUnbound)
        affinity.Bind(0);
    std::vector<double> floor;
    std::vector<double> bus;
    uint64_t sleeps = 0;
    for (auto _ : state) {
        floor.push_back(NanosecondsPerRound(pingPong, kBatch));
        sleeps -= Sleeps();
        bus.push_back(NanosecondsPerRound(roundTrip, kBatch));
        sleeps += Sleeps();
        state.SetIterationTime(bus.back() * kBatch * 1e-9);
    }
    const auto rounds = static_cast<double>(state.iterations() * kBatch);
    state.SetItemsProcessed(state.iterations() * kBatch);
    state.counters["ping_pong_ns"] = Median(floor);
    state.counters["round_trip_ns"] = Median(bus);
    state.counters["ratio"] = Median(bus) / Median(floor);
    state.counters["sleeps_per_round"] = static_cast<double>(sleeps) / rounds;
}
BENCHMARK(BM_RoundTripAgainstPingPong)
    ->ArgName("placement")
    ->Arg(kOneCore)
    ->Arg(kTwoCores)
    ->Arg(kUnbound)
    ->UseManualTime()
    ->MinTime(2);

/// A request now and then on an idle bus: how many threads it wakes, poster and worker included.
void BM_WakingsOfALoneRequest(benchmark::State& state) {
    vms::CommandBus commandBus;
    RegisterEcho(commandBus);
    RoundTrip roundTrip(&commandBus);
    NanosecondsPerRound(roundTrip, 10);
    const uint64_t before = Sleeps();
    for (auto _ : state) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        roundTrip.Round();
    }
    const auto rounds = static_cast<double>(state.iterations());
    state.counters["sleeps_per_round"] =
        static_cast<double>(Sleeps() - before) / rounds - 1;  // the pause is one
}
BENCHMARK(BM_WakingsOfALoneRequest)->Iterations(100)->UseRealTime();

/// A poster that keeps a bounded number of requests in flight.
void BM_Posters(benchmark::State& state) {
    constexpr uint64_t kInFlight = 64;
    ICommandBus* const bus = CreateCommandBusInstance();
    if (state.thread_index() == 0)
        RegisterEcho(*bus);
    __tagTvCommand request;
    request.serial = TV_CMD_GET_CAPABILITY;
    std::vector<std::string> devices;
    for (int i = 0; i < 16; ++i)
        devices.push_back("camera-" + std::to_string(state.thread_index()) + "-" +
                          std::to_string(i));
    Turnstile answered;
    uint64_t posted = 0;
    for (auto _ : state) {
        if (posted >= kInFlight)
            answered.WaitFor(posted - kInFlight + 1);
        request.deviceId = devices[posted % devices.size()];
        if (bus->Post(kModule, request, ForgetAndRaise(bus, answered)) < 0) {
            state.SkipWithError("the bus refused a request");
            break;
        }
        ++posted;
    }
    answered.WaitFor(posted);
    state.SetItemsProcessed(static_cast<int64_t>(posted));
}
BENCHMARK(BM_Posters)->Threads(1)->Threads(4)->UseRealTime()->MinTime(2);

}  // namespace

BENCHMARK_MAIN();
