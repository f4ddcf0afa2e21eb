#include "sim/discovery/DiscoveryResponder.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <map>
#include <random>
#include <thread>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "sim/discovery/DiscoveryLog.h"
#include "sim/discovery/MulticastSocket.h"
#include "sim/discovery/Probe.h"
#include "sim/discovery/ProbeMatch.h"
#include "sim/onvif/Uuid.h"

namespace vms::sim {

namespace {

using SteadyClock = std::chrono::steady_clock;

// A flood of probes must not fill the memory; what is over is not answered.
constexpr size_t kMaxPending = 200'000;

std::vector<DiscoveryInterface> ChooseInterfaces(const DiscoveryOptions& options) {
    if (options.interfaces.empty())
        return FindDiscoveryInterfaces();
    std::vector<DiscoveryInterface> chosen;
    for (const std::string& address : options.interfaces)
        chosen.push_back({"", address});
    return chosen;
}

DiscoveryResponder::Cameras InventCameras(size_t count) {
    DiscoveryResponder::Cameras cameras;
    for (size_t i = 0; i < count; ++i) {
        CameraConfig config;
        config.index = i;
        config.bind = "0.0.0.0";
        config.name = "Burst " + std::to_string(i);
        config.hardware = "BURST";
        config.uuid = RandomUuid();
        config.personality = &Personalities()[i % Personalities().size()];
        cameras.push_back(std::make_unique<Camera>(std::move(config)));
        cameras.back()->SetPort(static_cast<uint16_t>(20000 + i % 40000));
    }
    return cameras;
}

}  // namespace

class DiscoveryResponder::Impl {
public:
    Impl(const DiscoveryOptions& options, const Cameras& cameras)
        : maxDelay_(options.maxDelay),
          cameras_(cameras),
          invented_(InventCameras(options.burst)),
          log_(options.logFile),
          socket_(ChooseInterfaces(options)),
          wake_(eventfd(0, EFD_CLOEXEC)),
          thread_([this] { Run(); }) {}

    ~Impl() {
        const uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = write(wake_, &one, sizeof one);
        thread_.join();
        close(wake_);
    }

private:
    struct Pending {
        const Camera* camera;
        std::string relatesTo;
        Arrival arrival;
    };

    void Run() {
        pollfd watched[] = {{socket_.descriptor(), POLLIN, 0}, {wake_, POLLIN, 0}};
        while (true) {
            if (poll(watched, 2, MillisecondsToNext()) < 0 && errno != EINTR)
                return;
            if ((watched[1].revents & POLLIN) != 0)
                return;
            if ((watched[0].revents & POLLIN) != 0)
                ReceiveAll();
            SendDue();
        }
    }

    int MillisecondsToNext() const {
        if (pending_.empty())
            return -1;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(pending_.begin()->first -
                                                                       SteadyClock::now());
        return static_cast<int>(std::max<long long>(0, left.count()));
    }

    void ReceiveAll() {
        std::string datagram;
        Arrival arrival;
        while (socket_.Receive(datagram, arrival)) {
            const Probe probe = ParseProbe(datagram);
            log_.Write(arrival, probe, datagram);
            if (probe.valid)
                Schedule(probe, arrival);
        }
    }

    void Schedule(const Probe& probe, const Arrival& arrival) {
        const auto now = SteadyClock::now();
        for (const auto& camera : invented_)
            Add(now, *camera, probe, arrival);
        for (const auto& camera : cameras_) {
            camera->stats().CountProbe();
            if (!camera->faults().Has(Fault::kDiscoverySilent))
                Add(now + RandomDelay(), *camera, probe, arrival);
        }
    }

    void Add(SteadyClock::time_point due, const Camera& camera, const Probe& probe,
             const Arrival& arrival) {
        if (pending_.size() < kMaxPending)
            pending_.emplace(due, Pending{&camera, probe.messageId, arrival});
    }

    std::chrono::milliseconds RandomDelay() {
        std::uniform_int_distribution<long long> spread(0, maxDelay_.count());
        return std::chrono::milliseconds(spread(random_));
    }

    void SendDue() {
        while (!pending_.empty() && pending_.begin()->first <= SteadyClock::now()) {
            const Pending next = std::move(pending_.begin()->second);
            pending_.erase(pending_.begin());
            Send(next);
        }
    }

    void Send(const Pending& pending) {
        MatchContext context;
        context.relatesTo = pending.relatesTo;
        context.messageId = "urn:uuid:" + RandomUuid();
        const std::string& bound = pending.camera->config().bind;
        context.host = bound == "0.0.0.0" ? ToText(pending.arrival.localAddress) : bound;
        context.instance = static_cast<uint64_t>(started_);
        context.number = ++sent_;
        for (const std::string& datagram : WriteProbeMatches(*pending.camera, context))
            socket_.Reply(datagram, pending.arrival);
    }

    const std::chrono::milliseconds maxDelay_;
    const std::time_t started_ = std::time(nullptr);
    const Cameras& cameras_;
    const Cameras invented_;
    DiscoveryLog log_;
    MulticastSocket socket_;
    int wake_;

    // Used by the thread alone.
    std::multimap<SteadyClock::time_point, Pending> pending_;
    std::mt19937 random_{std::random_device{}()};
    uint64_t sent_ = 0;

    std::thread thread_;
};

DiscoveryResponder::DiscoveryResponder(const DiscoveryOptions& options, const Cameras& cameras)
    : impl_(std::make_unique<Impl>(options, cameras)) {}

DiscoveryResponder::~DiscoveryResponder() = default;

}  // namespace vms::sim
