// Stream-URI queries and discovery on loopback, beside what the same exchanges cost raw.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "bench/RawSoapQuery.h"
#include "onvif/OnvifDeviceSearch.h"
#include "onvif/OnvifImplement.h"

namespace {

using vms::test::Devsim;
using vms::test::SimulatedCamera;

const SimulatedCamera& Camera() {
    static const Devsim devsim(
        {"--count", "1", "--no-rtsp", "--no-discovery", "--personality", "classic"});
    return devsim.Camera(0);
}

std::string Query(const SimulatedCamera& camera) {
    OnvifImplement onvif;
    return onvif.GetStreamUri(camera.address.c_str(), camera.port, camera.user.c_str(),
                              camera.password.c_str(), 0);
}

void StreamUriQuery(benchmark::State& state) {
    const SimulatedCamera& camera = Camera();
    for (auto _ : state) {
        if (Query(camera).empty())
            state.SkipWithError("no URI");
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(StreamUriQuery)->UseRealTime()->MinTime(2)->Unit(benchmark::kMillisecond);
BENCHMARK(StreamUriQuery)->UseRealTime()->Threads(32)->MinTime(2)->Unit(benchmark::kMillisecond);

void RawHttpExchanges(benchmark::State& state) {
    const vms::bench::RawSoapQuery query(Camera());
    size_t bytes = 0;
    for (auto _ : state) {
        bytes = query.Run();
        if (bytes == 0)
            state.SkipWithError("refused");
    }
    state.counters["answer_bytes"] = static_cast<double>(bytes);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(RawHttpExchanges)->UseRealTime()->MinTime(2)->Unit(benchmark::kMillisecond);

/// A camera that answers one probe after a short while and remembers when.
class AnsweringCamera {
public:
    AnsweringCamera() : fd_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        const int on = 1;
        setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        sockaddr_in local{};
        local.sin_family = AF_INET;
        local.sin_port = htons(3702);
        bind(fd_, reinterpret_cast<const sockaddr*>(&local), sizeof local);
        ip_mreq group{};
        inet_pton(AF_INET, "239.255.255.250", &group.imr_multiaddr);
        inet_pton(AF_INET, "127.0.0.1", &group.imr_interface);
        setsockopt(fd_, IPPROTO_IP, IP_ADD_MEMBERSHIP, &group, sizeof group);
        thread_ = std::thread([this] { Serve(); });
    }
    ~AnsweringCamera() {
        shutdown(fd_, SHUT_RDWR);
        thread_.join();
        close(fd_);
    }
    AnsweringCamera(const AnsweringCamera&) = delete;
    AnsweringCamera& operator=(const AnsweringCamera&) = delete;

    std::chrono::steady_clock::time_point AnsweredAt() const { return answeredAt_; }

private:
    void Serve() {
        char probe[65536];
        for (;;) {
            sockaddr_in from{};
            socklen_t length = sizeof from;
            const ssize_t count =
                recvfrom(fd_, probe, sizeof probe, 0, reinterpret_cast<sockaddr*>(&from), &length);
            if (count <= 0)
                return;
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            answeredAt_ = std::chrono::steady_clock::now();
            sendto(fd_, kMatch.data(), kMatch.size(), 0, reinterpret_cast<sockaddr*>(&from),
                   length);
        }
    }

    static const std::string kMatch;
    int fd_;
    std::atomic<std::chrono::steady_clock::time_point> answeredAt_{};
    std::thread thread_;
};

const std::string AnsweringCamera::kMatch =
    "<?xml version=\"1.0\"?><s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\" "
    "xmlns:a=\"http://schemas.xmlsoap.org/ws/2004/08/addressing\" "
    "xmlns:d=\"http://schemas.xmlsoap.org/ws/2005/04/discovery\"><s:Body><d:ProbeMatches>"
    "<d:ProbeMatch><a:EndpointReference><a:Address>urn:uuid:1</a:Address></a:EndpointReference>"
    "<d:Scopes>onvif://www.onvif.org/name/Bench</d:Scopes>"
    "<d:XAddrs>http://127.0.0.1:80/onvif/device_service</d:XAddrs>"
    "<d:MetadataVersion>1</d:MetadataVersion></d:ProbeMatch></d:ProbeMatches></s:Body></"
    "s:Envelope>";

void DiscoveryAnswerToPage(benchmark::State& state) {
    setenv("VMS_LOCAL_IPS", "127.0.0.1", 1);
    AnsweringCamera camera;
    for (auto _ : state) {
        std::chrono::steady_clock::time_point seen{};
        OnvifDeviceSearch search;
        search.start(
            [&seen](__tagTvSearchDeviceParam*, void*) { seen = std::chrono::steady_clock::now(); },
            nullptr);
        state.SetIterationTime(std::chrono::duration<double>(seen - camera.AnsweredAt()).count());
    }
}
BENCHMARK(DiscoveryAnswerToPage)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    curl_global_init(CURL_GLOBAL_DEFAULT);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
