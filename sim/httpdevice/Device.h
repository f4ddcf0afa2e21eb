#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include <json/value.h>

#include "sim/httpdevice/Channel.h"
#include "sim/httpdevice/DeviceConfig.h"
#include "sim/httpdevice/DeviceStats.h"
#include "sim/httpdevice/api/Sessions.h"
#include "sim/httpdevice/media/MediaLibrary.h"
#include "sim/httpdevice/media/SyncTable.h"
#include "sim/httpdevice/media/TalkLog.h"

namespace vms::sim::httpdevice {

/// One simulated device: everything about it but its sockets. Safe from several threads.
class Device {
public:
    /// @param library must outlive the device
    Device(const DeviceConfig& config, const MediaLibrary& library);
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    const DeviceConfig& config() const { return config_; }
    bool IsChannel(int channel) const { return channel >= 0 && channel < config_.channels; }
    /// @param channel one that exists
    Channel& channel(int channel) { return *channels_[static_cast<size_t>(channel)]; }
    int StreamCount() const { return config_.version6 ? 3 : 2; }
    TrackPair Tracks(int stream) const;

    std::string name() const VMS_EXCLUDES(nameMutex_);
    void Rename(const std::string& name) VMS_EXCLUDES(nameMutex_);

    /// Seconds since the epoch by the device's own clock.
    int64_t UtcNow() const;
    void SetUtc(int64_t seconds);
    std::atomic<int> timeZoneMinutes{0};

    /// Runs from the start of the device; the time of live streams.
    const std::shared_ptr<MediaClock>& liveClock() const { return liveClock_; }

    Sessions& sessions() { return sessions_; }
    FaultBoard& faults() { return faults_; }
    DeviceStats& stats() { return stats_; }
    TalkLog& talk() { return talk_; }
    SyncTable& sync() { return sync_; }

    /// Whether a request may go ahead: the session, and the proof of the key where it is owed.
    ResultCode Admit(const std::string& token, bool extend);

    /// For tests: everything that clients can have changed.
    Json::Value State();

private:
    const DeviceConfig config_;
    const MediaLibrary& library_;
    const std::shared_ptr<MediaClock> liveClock_;
    std::vector<std::unique_ptr<Channel>> channels_;
    std::atomic<int64_t> clockOffset_{0};
    Sessions sessions_;
    FaultBoard faults_;
    DeviceStats stats_;
    TalkLog talk_;
    SyncTable sync_;

    mutable Mutex nameMutex_;
    std::string name_ VMS_GUARDED_BY(nameMutex_);
};

/// How presets and cruises look in answers.
Json::Value ToJson(const PtzPreset& preset);
Json::Value ToJson(const PtzCruise& cruise);
Json::Value ToJson(const PtzPosition& position);

}  // namespace vms::sim::httpdevice
