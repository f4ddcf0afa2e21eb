#pragma once

#include <chrono>

namespace vms::mediafile {

/// Where a head looks.
struct PtzPosition {
    double pan = 0;   ///< degrees, -180..180, right is positive
    double tilt = 0;  ///< degrees, -90..90, up is positive
    double zoom = 1;  ///< times, 1..20
};

/// A head on its way to a place, each axis at its own even pace. A value; not synchronised.
class PtzMotion {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    static constexpr int kMinSpeed = 1;
    static constexpr int kMaxSpeed = 10;

    PtzPosition At(TimePoint now) const;
    /// When the last axis arrives.
    TimePoint Arrival() const;

    /// @param target moved into the limits
    /// @param speed  kMinSpeed..kMaxSpeed, others are moved in: 10 degrees and one zoom step a
    ///               second each
    void MoveTo(TimePoint now, const PtzPosition& target, int speed);

private:
    double Seconds(TimePoint now) const;

    TimePoint start_{};
    PtzPosition from_;
    PtzPosition to_;
    int speed_ = kMinSpeed;
};

}  // namespace vms::mediafile
