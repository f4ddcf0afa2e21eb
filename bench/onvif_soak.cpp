// Stream-URI queries from many threads against healthy, broken and hostile cameras; prints
// descriptors and memory before and after. onvif_soak [QUERIES] [THREADS]
#include <dirent.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "onvif/OnvifImplement.h"
#include "tests/support/Devsim.h"

namespace {

using vms::test::Devsim;
using vms::test::SimulatedCamera;

/// The first half is healthy; a silent one costs seconds, so its share is limited in Ask.
const std::vector<std::string> kFaults = {"",
                                          "",
                                          "",
                                          "",
                                          "",
                                          "",
                                          "",
                                          "",
                                          "truncated",
                                          "nonXml",
                                          "notSoap",
                                          "refused",
                                          "wrongPassword",
                                          "profiles=0",
                                          "hugeProfiles=2",
                                          "deepNesting",
                                          "deepSecurity",
                                          "entities",
                                          "huge=length",
                                          "huge=chunked",
                                          "dropAfterHeaders",
                                          "http500Html",
                                          "silent"};
constexpr int kMostSilent = 20;

int OpenDescriptors() {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/proc/self/fd"), closedir);
    int count = 0;
    while (readdir(folder.get()) != nullptr)
        ++count;
    return count - 3;  // ".", ".." and the folder itself
}

long StatusKiB(const std::string& key) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.compare(0, key.size(), key) == 0)
            return std::strtol(line.c_str() + key.size(), nullptr, 10);
    }
    return -1;
}

void Print(const char* when) {
    std::printf("%-8s descriptors %3d   resident %7ld KiB   peak %7ld KiB\n", when,
                OpenDescriptors(), StatusKiB("VmRSS:"), StatusKiB("VmHWM:"));
    std::fflush(stdout);
}

class Soak {
public:
    explicit Soak(const Devsim& devsim) : devsim_(devsim) {}

    void Run(int queries, int threads) {
        next_ = 0;
        std::vector<std::thread> workers;
        for (int i = 0; i < threads; ++i)
            workers.emplace_back([this, queries] {
                for (int query = next_++; query < queries; query = next_++)
                    Ask(static_cast<size_t>(query) % kFaults.size());
            });
        for (std::thread& worker : workers)
            worker.join();
    }

    int Answered() const { return answered_; }
    int Wrong() const { return wrong_; }

private:
    void Ask(size_t index) {
        if (kFaults[index] == "silent" && silent_++ >= kMostSilent)
            index = 0;
        const SimulatedCamera& camera = devsim_.Camera(index);
        OnvifImplement onvif;
        const std::string uri = onvif.GetStreamUri(camera.address.c_str(), camera.port,
                                                   camera.user.c_str(), camera.password.c_str(), 0);
        answered_ += uri.empty() ? 0 : 1;
        wrong_ += uri == (kFaults[index].empty() ? camera.streams.at(0) : "") ? 0 : 1;
    }

    const Devsim& devsim_;
    std::atomic<int> next_{0};
    std::atomic<int> silent_{0};
    std::atomic<int> answered_{0};
    std::atomic<int> wrong_{0};
};

}  // namespace

int main(int argc, char** argv) {
    const int queries = argc > 1 ? std::atoi(argv[1]) : 10000;
    const int threads = argc > 2 ? std::atoi(argv[2]) : 32;
    std::vector<std::string> options = {"--count", std::to_string(kFaults.size()), "--no-rtsp",
                                        "--no-discovery"};
    for (size_t i = 0; i < kFaults.size(); ++i) {
        if (!kFaults[i].empty())
            options.insert(options.end(), {"--fault", std::to_string(i) + ":" + kFaults[i]});
    }
    const Devsim devsim(options);
    Soak soak(devsim);
    Print("start");
    soak.Run(queries / 10, threads);
    const int descriptors = OpenDescriptors();
    Print("warm");
    soak.Run(queries, threads);
    Print("end");
    std::printf("%d URIs, %d wrong answers\n", soak.Answered(), soak.Wrong());
    return soak.Wrong() == 0 && OpenDescriptors() == descriptors ? 0 : 1;
}
