#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <utility>

#include "host/relay/Outlet.h"
#include "host/sources/StreamAddress.h"
#include "host/status/EventLog.h"

namespace vms::host {

/// The way out of a live stream for its faces: each becomes an event "face" with the packet's type,
/// and what the device tells of it where that is short JSON. The pictures themselves stay with the
/// players.
class FaceOutlet final : public Outlet {
public:
    static constexpr char kKind[] = "faces";
    static constexpr int kMostPerSecond = 20;     ///< events; further faces are only counted
    static constexpr size_t kLongestTold = 2048;  ///< bytes of JSON

    /// @param events must outlive the outlet @param ended called once the stream is over; must not
    ///               wait, nor call the relay
    FaceOutlet(EventLog& events, StreamAddress address, std::function<void()> ended)
        : events_(events), address_(std::move(address)), ended_(std::move(ended)) {}

    /// Lets the relay drop it.
    void Leave() { isLeft_ = true; }

    void Take(const MediaUnit& unit) override;
    void Tell(const __tagTvCommand&) override {}
    void End(const std::string&) override { ended_(); }
    OutletCounts Counts() const override { return {isLeft_ ? size_t{0} : 1, taken_}; }

private:
    using Clock = std::chrono::steady_clock;

    bool MayTell();

    EventLog& events_;
    const StreamAddress address_;
    const std::function<void()> ended_;
    std::atomic<bool> isLeft_{false};
    std::atomic<uint64_t> taken_{0};
    // Of the relay's lock:
    Clock::time_point second_{};
    int inSecond_ = 0;
    int missed_ = 0;
};

}  // namespace vms::host
