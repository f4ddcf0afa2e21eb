#include "drivers/mediafile/device/PtzHead.h"

#include <algorithm>
#include <utility>

namespace vms::mediafile {
namespace {

constexpr int kMaxPreset = 255;
constexpr int kMaxCruise = 31;
constexpr size_t kMaxStops = 64;
constexpr int kMinDwell = 1;  // s; a tour without any would never rest
constexpr int kMaxDwell = 3600;
constexpr double kFar = 360;

constexpr int kOptTurn = 0;
constexpr int kOptZoom = 1;

struct Direction {
    int pan;
    int tilt;
};
constexpr Direction kDirections[] = {{0, 0},  {0, 1}, {0, -1},  {-1, 0}, {1, 0},
                                     {-1, 1}, {1, 1}, {-1, -1}, {1, -1}};
constexpr int kLastDirection = 8;

}  // namespace

PtzPosition PtzHead::Position() {
    MutexLock lock(mutex_);
    return motion_.At(Advance());
}

int PtzHead::Control(const __tagTvPtzParam& param) {
    MutexLock lock(mutex_);
    const TimePoint now = Advance();
    if (param.opt == kOptTurn)
        return Turn(now, param);
    return param.opt == kOptZoom ? Zoom(now, param) : -1;
}

int PtzHead::Turn(TimePoint now, const __tagTvPtzParam& param) {
    if (param.turn < 0 || param.turn > kLastDirection)
        return -1;
    const Direction& way = kDirections[param.is_press == 0 ? 0 : param.turn];
    PtzPosition target = motion_.At(now);
    target.pan += way.pan * kFar;
    target.tilt += way.tilt * kFar;
    Go(now, target, param.speed);
    return 0;
}

int PtzHead::Zoom(TimePoint now, const __tagTvPtzParam& param) {
    PtzPosition target = motion_.At(now);
    if (param.is_press != 0)
        target.zoom += param.is_add != 0 ? kFar : -kFar;
    Go(now, target, param.speed);
    return 0;
}

void PtzHead::Go(TimePoint now, const PtzPosition& target, int speed) {
    tour_ = {};
    motion_.MoveTo(now, target, speed > 0 ? speed : speed_);
}

int PtzHead::Speed() {
    MutexLock lock(mutex_);
    return speed_;
}

int PtzHead::SetSpeed(int speed) {
    if (speed < PtzMotion::kMinSpeed || speed > PtzMotion::kMaxSpeed)
        return -1;
    MutexLock lock(mutex_);
    speed_ = speed;
    return 0;
}

std::list<__tagTvPtzPresetParam> PtzHead::Presets() {
    std::list<__tagTvPtzPresetParam> records;
    MutexLock lock(mutex_);
    for (const auto& [index, preset] : presets_)
        records.push_back(preset.record);
    return records;
}

int PtzHead::AddPreset(const __tagTvPtzPresetParam& preset) {
    const int index = preset.presetIdx;
    if (index < 0 || index > kMaxPreset)
        return -1;
    MutexLock lock(mutex_);
    const auto old = presets_.find(index);
    if (old != presets_.end() && old->second.record.readOnly != 0)
        return -1;
    presets_[index] = {preset, motion_.At(Advance())};
    return 0;
}

int PtzHead::DelPreset(int index) {
    MutexLock lock(mutex_);
    const auto preset = presets_.find(index);
    if (preset == presets_.end() || preset->second.record.readOnly != 0)
        return -1;
    presets_.erase(preset);
    return 0;
}

int PtzHead::CallPreset(int index, int speed) {
    MutexLock lock(mutex_);
    const auto preset = presets_.find(index);
    if (preset == presets_.end())
        return -1;
    const TimePoint now = Advance();
    Go(now, preset->second.position, speed > 0 ? speed : preset->second.record.speed);
    return 0;
}

int PtzHead::GetCruise(int index, __tagTvPtzCruiseParam& cruise) {
    MutexLock lock(mutex_);
    const auto found = index == -1 ? cruises_.begin() : cruises_.find(index);
    if (found == cruises_.end())
        return -1;
    cruise = found->second;
    return 0;
}

int PtzHead::AddCruise(const __tagTvPtzCruiseParam& cruise) {
    const int index = cruise.cruiseIdx;
    if (index < 0 || index > kMaxCruise || cruise.presets.size() > kMaxStops)
        return -1;
    MutexLock lock(mutex_);
    for (const __tagTvPtzPresetParam& stop : cruise.presets) {
        if (presets_.count(stop.presetIdx) == 0)
            return -1;
    }
    cruises_[index] = cruise;
    return 0;
}

int PtzHead::DelCruise(int index) {
    MutexLock lock(mutex_);
    const TimePoint now = Advance();
    if (tour_.index == index && !tour_.stops.empty())
        Go(now, motion_.At(now), 0);
    return cruises_.erase(index) > 0 ? 0 : -1;
}

int PtzHead::StartCruise(int index) {
    MutexLock lock(mutex_);
    const auto cruise = cruises_.find(index);
    std::vector<Stop> stops;
    if (cruise != cruises_.end())
        stops = StopsOf(cruise->second);
    if (stops.empty())
        return -1;
    const TimePoint now = Advance();
    motion_.MoveTo(now, stops.front().position, stops.front().speed);
    tour_ = {index, std::move(stops), 0};
    return 0;
}

int PtzHead::StopCruise(int index) {
    MutexLock lock(mutex_);
    if (index != -1 && cruises_.count(index) == 0)
        return -1;
    const TimePoint now = Advance();
    if (!tour_.stops.empty() && (index == -1 || index == tour_.index))
        Go(now, motion_.At(now), 0);
    return 0;
}

/// Stops whose preset has been deleted since are left out.
std::vector<PtzHead::Stop> PtzHead::StopsOf(const __tagTvPtzCruiseParam& cruise) const {
    std::vector<Stop> stops;
    for (const __tagTvPtzPresetParam& stop : cruise.presets) {
        const auto preset = presets_.find(stop.presetIdx);
        if (preset == presets_.end())
            continue;
        const int dwell = std::clamp(stop.presetDweelTime, kMinDwell, kMaxDwell);
        stops.push_back({preset->second.position, stop.speed > 0 ? stop.speed : speed_,
                         std::chrono::seconds(dwell)});
    }
    return stops;
}

PtzHead::TimePoint PtzHead::Advance() {
    const TimePoint now = now_();
    while (!tour_.stops.empty()) {
        const TimePoint departure = motion_.Arrival() + tour_.stops[tour_.next].dwell;
        if (departure > now)
            break;
        tour_.next = (tour_.next + 1) % tour_.stops.size();
        const Stop& stop = tour_.stops[tour_.next];
        motion_.MoveTo(departure, stop.position, stop.speed);
    }
    return now;
}

}  // namespace vms::mediafile
