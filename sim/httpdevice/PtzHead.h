#pragma once

#include <map>
#include <string>
#include <vector>

#include "sim/httpdevice/api/Sessions.h"

namespace vms::sim::httpdevice {

/// Pan and tilt in hundredths of a degree, zoom in hundredths, focus and iris 0 to 1000.
struct PtzPosition {
    double pan = 0;
    double tilt = 0;
    double zoom = 100;
    double focus = 500;
    double iris = 500;
};

struct PtzPreset {
    int index = 0;
    std::string name;
    int speed = 0;
    int enable = 1;
    int readOnly = 0;
    int dwellSeconds = 0;
};

struct PtzCruise {
    int index = 0;
    int enable = 1;
    std::vector<PtzPreset> stops;
};

/// What moves and how fast, in units of the position per second.
using PtzVelocity = PtzPosition;

/// A pan-tilt-zoom head that moves while time passes: positions follow from when a movement began.
/// Not synchronised.
class PtzHead {
public:
    static constexpr int kMaxSpeed = 100;
    static constexpr int kMaxPreset = 255;
    static constexpr int kMaxCruise = 31;

    PtzPosition Position(Clock::time_point now) const;

    /// Directions as on the wire ("leftUp"). @return false for an unknown one
    bool Move(Clock::time_point now, const std::string& direction, int speed);
    /// @param lens zoom, focus or iris. @return false for an unknown one
    bool MoveLens(Clock::time_point now, const std::string& lens, bool add, int speed);
    void FocusOnce(Clock::time_point now);
    void InitLens(Clock::time_point now);
    void Stop(Clock::time_point now);

    void SetSpeed(int speed) { speed_ = speed; }
    int speed() const { return speed_; }

    void StorePreset(Clock::time_point now, const PtzPreset& preset);
    bool RemovePreset(int index) { return presets_.erase(index) > 0; }
    bool GoToPreset(Clock::time_point now, int index);
    std::vector<PtzPreset> Presets() const;

    void StoreCruise(const PtzCruise& cruise) { cruises_[cruise.index] = cruise; }
    bool RemoveCruise(Clock::time_point now, int index);
    /// @return false when there is no such cruise, it has no stops or a stop is no preset
    bool StartCruise(Clock::time_point now, int index);
    bool StopCruise(Clock::time_point now, int index);
    const std::map<int, PtzCruise>& cruises() const { return cruises_; }
    int running() const { return running_; }

private:
    struct Stored {
        PtzPreset preset;
        PtzPosition position;
    };

    void Settle(Clock::time_point now);
    PtzPosition CruisePosition(Clock::time_point now) const;

    PtzPosition base_;
    PtzVelocity velocity_{0, 0, 0, 0, 0};
    Clock::time_point since_{};
    int speed_ = 50;
    std::map<int, Stored> presets_;
    std::map<int, PtzCruise> cruises_;
    int running_ = -1;
};

}  // namespace vms::sim::httpdevice
