// The WebSocket client under many connections, against a server process of hand-made frames:
//   websocket_client_bench                 CPU per gigabyte, memory, connecting, all plain
//   websocket_client_bench PORT PATH       memory and connecting with TLS, to a server on 127.0.0.1
#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "bench/AllocationCount.h"
#include "platform/IWebSocketClient.h"
#include "tests/support/FrameServer.h"
#include "websocket/INetEventHandle.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using vms::test::FramePeer;
using vms::test::FrameServer;

constexpr int kMessage = 20'000;

double Seconds(Clock::duration duration) {
    return std::chrono::duration<double>(duration).count();
}

double CpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double ResidentKilobytes() {
    std::ifstream file("/proc/self/statm");
    long total = 0;
    long resident = 0;
    file >> total >> resident;
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1000;
}

/// Serves one client by its path: /flood as fast as it goes, /paced 25 messages a second, anything
/// else one message and then silence.
void Serve(FramePeer& peer) {
    if (!peer.Upgrade())
        return;
    const std::string message = vms::test::Encode({2, std::string(kMessage, 'x')});
    const bool flood = peer.Request().starts_with("GET /flood");
    const bool paced = peer.Request().starts_with("GET /paced");
    while (peer.Write(message) && (flood || paced)) {
        if (paced)
            std::this_thread::sleep_for(milliseconds(40));
    }
    static_cast<void>(peer.ReadToEnd());
}

/// The server process, one small thread a client.
[[noreturn]] void ServeForEver(FrameServer& server) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    for (;;) {
        auto peer = server.Accept();
        if (peer != nullptr)
            std::thread([peer = std::move(peer)] { Serve(*peer); }).detach();
    }
}

class Counter final : public INetEventHandle {
public:
    void OnConnect(long long, const char*, int) override { ++connected; }
    void OnClose(long long, int, const char*) override { ++closed; }
    void OnRecv(long long, const char*, int len) override {
        ++messages;
        bytes += len;
    }
    using INetEventHandle::OnRecv;

    std::atomic<int> connected{0};
    std::atomic<int> closed{0};
    std::atomic<int64_t> messages{0};
    std::atomic<int64_t> bytes{0};
};

struct Release {
    void operator()(IWebSocketClient* client) const { client->Release(); }
};
using Clients = std::vector<std::unique_ptr<IWebSocketClient, Release>>;

template <class Condition>
void WaitFor(Condition condition) {
    const auto deadline = Clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (Clock::now() > deadline) {
            std::puts("not reached in 30 s");
            std::exit(1);
        }
        std::this_thread::sleep_for(milliseconds(1));
    }
}

Clients Connect(int count, int port, const char* path, bool secure, Counter& counter) {
    Clients clients;
    for (int i = 0; i < count; ++i) {
        clients.emplace_back(CreateWebSocketClient());
        clients.back()->SetEventHandle(&counter);
        clients.back()->Connect("127.0.0.1", port, path, "websocket", 30'000, secure);
    }
    WaitFor([&] { return counter.connected + counter.closed == count; });
    if (counter.closed > 0)
        std::printf("%d of %d were closed\n", counter.closed.load(), count);
    return clients;
}

void MeasureReceiving(int port, const char* path, std::chrono::seconds duration) {
    Counter counter;
    const Clients clients = Connect(64, port, path, false, counter);
    std::this_thread::sleep_for(milliseconds(1500));  // earlier clients have closed by then
    const int64_t bytes = counter.bytes;
    const int64_t messages = counter.messages;
    const int64_t allocated = vms::bench::AllocationsOfProcess();
    const double cpu = CpuSeconds();
    std::this_thread::sleep_for(duration);
    const double gigabytes = static_cast<double>(counter.bytes - bytes) * 1e-9;
    const auto received = static_cast<double>(counter.messages - messages);
    std::printf("%-7s 64 connections: %.2f CPU s per GB, %.0f messages/s, %.4f allocations each\n",
                path, (CpuSeconds() - cpu) / gigabytes, received / Seconds(duration),
                static_cast<double>(vms::bench::AllocationsOfProcess() - allocated) / received);
}

void MeasureConnecting(int port, const char* path, bool secure) {
    constexpr int kClients = 1000;
    Counter warmUp;
    Connect(1, port, path, secure, warmUp);
    Counter counter;
    const double before = ResidentKilobytes();
    const double cpu = CpuSeconds();
    const auto begin = Clock::now();
    const Clients clients = Connect(kClients, port, path, secure, counter);
    const double wall = Seconds(Clock::now() - begin);
    std::printf("%d connects%s: %.3f s, %.3f s CPU\n", kClients, secure ? " with TLS" : "", wall,
                CpuSeconds() - cpu);
    WaitFor([&] { return counter.messages >= kClients; });
    std::printf("memory per connection, one message received: %.1f kB\n",
                (ResidentKilobytes() - before) / kClients);
}

void RaiseDescriptorLimit() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

int main(int argc, char** argv) {
    RaiseDescriptorLimit();
    if (argc == 3) {
        MeasureConnecting(std::atoi(argv[1]), argv[2], true);
        return 0;
    }
    FrameServer server;
    const pid_t child = fork();
    if (child == 0)
        ServeForEver(server);
    MeasureConnecting(server.Port(), "idle", false);
    MeasureReceiving(server.Port(), "/paced", std::chrono::seconds(4));
    MeasureReceiving(server.Port(), "/flood", std::chrono::seconds(4));
    kill(child, SIGTERM);
    return 0;
}
