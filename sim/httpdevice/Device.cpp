#include "sim/httpdevice/Device.h"

#include <algorithm>
#include <cmath>
#include <ctime>

namespace vms::sim::httpdevice {

namespace {

Account AccountOf(const DeviceConfig& config) {
    return {config.user,       config.password,        config.login,
            config.iterations, config.enableIteration, std::chrono::seconds(config.sessionSeconds)};
}

std::shared_ptr<const Timeline> TimelineOf(const DeviceConfig& config, int channel) {
    Timeline::Plan plan;
    plan.until = config.recordedUntil > 0 ? config.recordedUntil : std::time(nullptr);
    plan.days = config.recordedDays;
    plan.pieceSeconds = config.pieceSeconds;
    plan.channel = channel;
    return std::make_shared<const Timeline>(plan);
}

std::string ChannelName(const DeviceConfig& config, int channel) {
    return config.recorder ? "Channel " + std::to_string(channel + 1) : config.name;
}

Json::Value StateOf(Channel& channel) {
    MutexLock lock(channel.mutex);
    Json::Value out(Json::objectValue);
    out["name"] = channel.name;
    out["position"] = ToJson(channel.ptz.Position(Clock::now()));
    out["speed"] = channel.ptz.speed();
    out["runningCruise"] = channel.ptz.running();
    out["presets"] = out["cruises"] = out["alarms"] = Json::arrayValue;
    for (const PtzPreset& preset : channel.ptz.Presets())
        out["presets"].append(ToJson(preset));
    for (const auto& [index, cruise] : channel.ptz.cruises())
        out["cruises"].append(ToJson(cruise));
    for (const bool active : channel.alarms)
        out["alarms"].append(active);
    return out;
}

Json::Value ToJson(const TalkLog::Entry& entry) {
    Json::Value out(Json::objectValue);
    out["sessions"] = Json::UInt64{entry.sessions};
    out["frames"] = Json::UInt64{entry.frames};
    out["refused"] = Json::UInt64{entry.refused};
    out["bytes"] = Json::UInt64{entry.payload.size()};
    return out;
}

}  // namespace

Device::Device(const DeviceConfig& config, const MediaLibrary& library)
    : config_(config),
      library_(library),
      liveClock_(std::make_shared<MediaClock>(0, true, Clock::now())),
      sessions_(AccountOf(config)),
      name_(config.name) {
    for (int i = 0; i < config.channels; ++i)
        channels_.push_back(
            std::make_unique<Channel>(ChannelName(config, i), TimelineOf(config, i)));
    for (const DeviceFaultRule& rule : config.faults)
        faults_.Add(rule);
}

TrackPair Device::Tracks(int stream) const {
    const ClipKind main = config_.h265 ? ClipKind::kH265Main : ClipKind::kH264Main;
    const ClipKind third = config_.h265 ? ClipKind::kH264Main : ClipKind::kH265Main;
    const ClipKind kinds[] = {main, ClipKind::kH264Sub, third};
    return {library_.Video(kinds[std::clamp(stream, 0, 2)]),
            config_.mute ? nullptr : library_.Audio(config_.audio)};
}

std::string Device::name() const {
    MutexLock lock(nameMutex_);
    return name_;
}

void Device::Rename(const std::string& name) {
    MutexLock lock(nameMutex_);
    name_ = name;
}

int64_t Device::UtcNow() const {
    return std::time(nullptr) + clockOffset_;
}

void Device::SetUtc(int64_t seconds) {
    clockOffset_ = seconds - std::time(nullptr);
}

ResultCode Device::Admit(const std::string& token, bool extend) {
    const ResultCode code = sessions_.Check(Clock::now(), token, extend);
    if (code == ResultCode::kDone && config_.login == LoginFamily::kQuorix &&
        !sessions_.KeyProven(token))
        return ResultCode::kKeyOwed;
    return code;
}

Json::Value Device::State() {
    Json::Value out(Json::objectValue);
    out["name"] = name();
    out["utcTime"] = Json::Int64{UtcNow()};
    out["sessions"] = Json::UInt64{sessions_.open(Clock::now())};
    out["syncSessions"] = Json::UInt64{sync_.size()};
    out["stats"] = stats_.ToJson();
    out["faults"] = out["channels"] = Json::arrayValue;
    for (const std::string& fault : faults_.Describe())
        out["faults"].append(fault);
    for (const auto& channel : channels_)
        out["channels"].append(StateOf(*channel));
    out["talk"] = Json::objectValue;
    for (const auto& [channel, entry] : talk_.Entries())
        out["talk"][std::to_string(channel)] = ToJson(entry);
    return out;
}

Json::Value ToJson(const PtzPreset& preset) {
    Json::Value out(Json::objectValue);
    out["presetIdx"] = preset.index;
    out["presetName"] = preset.name;
    out["speed"] = preset.speed;
    out["enablePreset"] = preset.enable;
    out["readOnly"] = preset.readOnly;
    out["presetDweelTime"] = preset.dwellSeconds;
    return out;
}

Json::Value ToJson(const PtzCruise& cruise) {
    Json::Value out(Json::objectValue);
    out["cruiseIdx"] = cruise.index;
    out["enableCruise"] = cruise.enable;
    out["cruisePresetList"] = Json::arrayValue;
    for (const PtzPreset& stop : cruise.stops)
        out["cruisePresetList"].append(ToJson(stop));
    return out;
}

Json::Value ToJson(const PtzPosition& position) {
    Json::Value out(Json::objectValue);
    out["pan"] = static_cast<int>(std::lround(position.pan));
    out["tilt"] = static_cast<int>(std::lround(position.tilt));
    out["zoom"] = static_cast<int>(std::lround(position.zoom));
    out["focus"] = static_cast<int>(std::lround(position.focus));
    out["iris"] = static_cast<int>(std::lround(position.iris));
    return out;
}

}  // namespace vms::sim::httpdevice
