#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace vms::host {

/// Turns the timestamps of a stream's units into times of a clock that never goes back for pictures
/// and never runs away from the wall clock, whatever the device does. Thread-bound.
class WhepClock {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// Units that come earlier than that, by their times, are catching up: they are for now.
    static constexpr int64_t kLargestLead = 200;  // ms
    /// A device's clock that has fallen behind ours by more is taken for another clock.
    static constexpr int64_t kLargestLag = 5000;  // ms

    /// @return ms; 0 = the first unit
    int64_t At(uint32_t timestampMs, bool isPicture, Time now);

    /// A time for a picture of the past that is to be decoded now, so that the next one comes at
    /// its own: the times of such pictures lie close together. @param before pictures that follow
    /// it in the past @param newestMs timestamp of the last one of them
    int64_t Before(int before, uint32_t newestMs, Time now);

private:
    int64_t Mapped(uint32_t timestampMs, Time now);

    struct Anchor {
        uint32_t timestampMs;
        int64_t timeMs;
        Time now;
    };

    std::optional<Anchor> anchor_;
    std::optional<int64_t> lastPicture_;
};

}  // namespace vms::host
