#include "drivers/mediafile/device/PtzMotion.h"

#include <algorithm>
#include <cmath>

namespace vms::mediafile {
namespace {

constexpr double kDegreesPerSecond = 10;
constexpr double kZoomPerSecond = 1;

double Approach(double from, double to, double way) {
    return to > from ? std::min(from + way, to) : std::max(from - way, to);
}

}  // namespace

PtzPosition PtzMotion::At(TimePoint now) const {
    const double way = std::max(Seconds(now), 0.0) * speed_;
    return {Approach(from_.pan, to_.pan, way * kDegreesPerSecond),
            Approach(from_.tilt, to_.tilt, way * kDegreesPerSecond),
            Approach(from_.zoom, to_.zoom, way * kZoomPerSecond)};
}

PtzMotion::TimePoint PtzMotion::Arrival() const {
    const double degrees = std::max(std::abs(to_.pan - from_.pan), std::abs(to_.tilt - from_.tilt));
    const double seconds =
        std::max(degrees / kDegreesPerSecond, std::abs(to_.zoom - from_.zoom) / kZoomPerSecond) /
        speed_;
    return start_ +
           std::chrono::duration_cast<TimePoint::duration>(std::chrono::duration<double>(seconds));
}

void PtzMotion::MoveTo(TimePoint now, const PtzPosition& target, int speed) {
    from_ = At(now);
    to_ = {std::clamp(target.pan, -180.0, 180.0), std::clamp(target.tilt, -90.0, 90.0),
           std::clamp(target.zoom, 1.0, 20.0)};
    speed_ = std::clamp(speed, kMinSpeed, kMaxSpeed);
    start_ = now;
}

double PtzMotion::Seconds(TimePoint now) const {
    return std::chrono::duration<double>(now - start_).count();
}

}  // namespace vms::mediafile
