#include "sim/httpdevice/PtzHead.h"

#include <algorithm>
#include <cmath>

namespace vms::sim::httpdevice {

namespace {

constexpr PtzVelocity kStill{0, 0, 0, 0, 0};
constexpr double kFullTurn = 36'000;
// At speed 100: 90 degrees, 10 steps of zoom, the whole range of a lens in two seconds.
constexpr double kDegreesPerSpeed = 90;
constexpr double kZoomPerSpeed = 10;
constexpr double kLensPerSpeed = 5;

double Seconds(Clock::duration time) {
    return std::chrono::duration<double>(time).count();
}

PtzPosition Limit(PtzPosition position) {
    position.pan = position.pan - std::floor(position.pan / kFullTurn) * kFullTurn;
    position.tilt = std::clamp(position.tilt, -9000.0, 9000.0);
    position.zoom = std::clamp(position.zoom, 100.0, 3000.0);
    position.focus = std::clamp(position.focus, 0.0, 1000.0);
    position.iris = std::clamp(position.iris, 0.0, 1000.0);
    return position;
}

struct Direction {
    const char* name;
    int pan;
    int tilt;
};

constexpr Direction kDirections[] = {
    {"up", 0, 1},      {"down", 0, -1},   {"left", -1, 0},      {"right", 1, 0},
    {"leftUp", -1, 1}, {"rightUp", 1, 1}, {"leftDown", -1, -1}, {"rightDown", 1, -1},
};

}  // namespace

PtzPosition PtzHead::Position(Clock::time_point now) const {
    if (running_ >= 0)
        return CruisePosition(now);
    const double time = Seconds(now - since_);
    PtzPosition position = base_;
    position.pan += velocity_.pan * time;
    position.tilt += velocity_.tilt * time;
    position.zoom += velocity_.zoom * time;
    position.focus += velocity_.focus * time;
    position.iris += velocity_.iris * time;
    return Limit(position);
}

PtzPosition PtzHead::CruisePosition(Clock::time_point now) const {
    const std::vector<PtzPreset>& stops = cruises_.at(running_).stops;
    double round = 0;
    for (const PtzPreset& stop : stops)
        round += std::max(1, stop.dwellSeconds);
    double left = std::fmod(Seconds(now - since_), round);
    for (const PtzPreset& stop : stops) {
        left -= std::max(1, stop.dwellSeconds);
        const auto preset = presets_.find(stop.index);
        if (left < 0 && preset != presets_.end())
            return preset->second.position;
    }
    return base_;
}

void PtzHead::Settle(Clock::time_point now) {
    base_ = Position(now);
    running_ = -1;
    since_ = now;
}

bool PtzHead::Move(Clock::time_point now, const std::string& direction, int speed) {
    const auto* found = std::find_if(std::begin(kDirections), std::end(kDirections),
                                     [&](const Direction& one) { return direction == one.name; });
    if (found == std::end(kDirections))
        return false;
    Settle(now);
    velocity_.pan = found->pan * speed * kDegreesPerSpeed;
    velocity_.tilt = found->tilt * speed * kDegreesPerSpeed;
    return true;
}

bool PtzHead::MoveLens(Clock::time_point now, const std::string& lens, bool add, int speed) {
    const double way = add ? speed : -speed;
    PtzVelocity velocity = velocity_;
    if (lens == "zoom")
        velocity.zoom = way * kZoomPerSpeed;
    else if (lens == "focus")
        velocity.focus = way * kLensPerSpeed;
    else if (lens == "iris")
        velocity.iris = way * kLensPerSpeed;
    else
        return false;
    Settle(now);
    velocity_ = velocity;
    return true;
}

void PtzHead::FocusOnce(Clock::time_point now) {
    Settle(now);
    velocity_.focus = 0;
    base_.focus = 500;
}

void PtzHead::InitLens(Clock::time_point now) {
    Settle(now);
    velocity_.zoom = velocity_.focus = velocity_.iris = 0;
    base_.zoom = 100;
    base_.focus = base_.iris = 500;
}

void PtzHead::Stop(Clock::time_point now) {
    Settle(now);
    velocity_ = kStill;
}

void PtzHead::StorePreset(Clock::time_point now, const PtzPreset& preset) {
    presets_[preset.index] = {preset, Position(now)};
}

bool PtzHead::GoToPreset(Clock::time_point now, int index) {
    const auto found = presets_.find(index);
    if (found == presets_.end())
        return false;
    Stop(now);
    base_ = found->second.position;
    return true;
}

std::vector<PtzPreset> PtzHead::Presets() const {
    std::vector<PtzPreset> list;
    for (const auto& [index, stored] : presets_)
        list.push_back(stored.preset);
    return list;
}

bool PtzHead::RemoveCruise(Clock::time_point now, int index) {
    StopCruise(now, index);
    return cruises_.erase(index) > 0;
}

bool PtzHead::StartCruise(Clock::time_point now, int index) {
    const auto found = cruises_.find(index);
    if (found == cruises_.end() || found->second.stops.empty())
        return false;
    const auto known = [this](const PtzPreset& stop) { return presets_.count(stop.index) > 0; };
    if (!std::all_of(found->second.stops.begin(), found->second.stops.end(), known))
        return false;
    Stop(now);
    running_ = index;
    return true;
}

bool PtzHead::StopCruise(Clock::time_point now, int index) {
    if (running_ != index)
        return cruises_.count(index) > 0;
    Stop(now);
    return true;
}

}  // namespace vms::sim::httpdevice
