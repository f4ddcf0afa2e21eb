#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include "host/players/PlayerContext.h"
#include "host/sources/StreamAddress.h"
#include "host/status/EventLog.h"
#include "platform/Mutex.h"

namespace vms::host {

/// Holds the sub streams of channels open whose faces somebody wants as events, and opens them
/// again when they end. Thread-safe; nothing but the destructor waits.
class FaceWatch {
public:
    static constexpr size_t kMost = 256;  ///< channels at a time

    /// @param retry time until a stream that has ended, or could not be had, is asked for again;
    ///              doubled each time that fails, up to sixteen times as long
    /// Both must outlive this object and all that it gives away.
    FaceWatch(PlayerContext& context, EventLog& events,
              std::chrono::milliseconds retry = std::chrono::seconds(5));
    ~FaceWatch();
    FaceWatch(const FaceWatch&) = delete;
    FaceWatch& operator=(const FaceWatch&) = delete;

    /// @return a share: faces become events until the last one is dropped; null = too many channels
    std::shared_ptr<void> Watch(const std::string& device, int channel) VMS_EXCLUDES(mutex_);

private:
    class Channel;

    void Run() VMS_EXCLUDES(mutex_);
    void Sweep() VMS_EXCLUDES(mutex_);

    PlayerContext& context_;
    EventLog& events_;
    const std::chrono::milliseconds retry_;
    Mutex mutex_;
    CondVar stopped_;
    std::map<StreamAddress, std::weak_ptr<Channel>> channels_ VMS_GUARDED_BY(mutex_);
    bool stop_ VMS_GUARDED_BY(mutex_) = false;
    std::thread thread_;  ///< last: uses all of the above
};

}  // namespace vms::host
