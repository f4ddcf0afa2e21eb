#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "drivers/httpdevice/FamilySettings.h"
#include "drivers/httpdevice/http/HttpReactor.h"
#include "drivers/httpdevice/session/DeviceAddress.h"
#include "drivers/httpdevice/session/JobPool.h"
#include "platform/Mutex.h"

namespace vms::httpdevice {

class DeviceConnection;
class SyncGroup;

/// Something with a connection to a device that must have closed before the family ends.
class Closable {
public:
    /// Begins to close and returns; repeated calls are harmless.
    virtual void BeginClose() = 0;
    virtual bool IsClosed() = 0;

protected:
    ~Closable() = default;
};

/// What all devices and sources of the family share, between Init and UnInit of its factory: one
/// thread for requests that nobody waits for and for the clock, two that make connections of
/// sources, two that hash for logins. None of them ever waits for a device.
/// Thread-safe. Whoever still holds it after ShutDown finds that nothing happens any more.
class FamilyRuntime {
public:
    /// @throws std::system_error, std::bad_alloc without threads or memory
    explicit FamilyRuntime(const FamilySettings& settings);
    FamilyRuntime(const FamilyRuntime&) = delete;
    FamilyRuntime& operator=(const FamilyRuntime&) = delete;

    /// Closes all sources, logs all devices out, ends all threads.
    /// @param sourceTime for the sources to close. @return false when that was too short
    bool ShutDown(std::chrono::milliseconds sourceTime) VMS_EXCLUDES(mutex_);

    const FamilySettings& Settings() const { return settings_; }
    HttpReactor& Reactor() { return reactor_; }
    JobPool& Jobs() { return jobs_; }
    JobPool& Logins() { return logins_; }
    /// True once everything that waits shall give up.
    const std::atomic<bool>& Cancelled() const { return cancelled_; }

    void AddConnection(std::weak_ptr<DeviceConnection> connection) VMS_EXCLUDES(mutex_);

    /// @param source stays alive until Remove
    void Add(Closable* source) VMS_EXCLUDES(mutex_);
    void Remove(Closable* source) VMS_EXCLUDES(mutex_);

    /// The synchronous sessions by token; tokens are the device's own.
    /// @return false when a session of the device has that token already
    bool KeepSession(const DeviceAddress& device, const std::string& token,
                     std::shared_ptr<SyncGroup> group) VMS_EXCLUDES(mutex_);
    void ForgetSession(const DeviceAddress& device, const std::string& token) VMS_EXCLUDES(mutex_);
    /// @return null for a token that no session of the device has
    std::shared_ptr<SyncGroup> FindSession(const DeviceAddress& device, const std::string& token)
        VMS_EXCLUDES(mutex_);

private:
    bool CloseSources(std::chrono::milliseconds time) VMS_EXCLUDES(mutex_);
    bool AllClosed() VMS_EXCLUDES(mutex_);
    void LogOutAll() VMS_EXCLUDES(mutex_);

    const FamilySettings settings_;
    std::atomic<bool> cancelled_{false};

    Mutex mutex_;
    std::vector<std::weak_ptr<DeviceConnection>> connections_ VMS_GUARDED_BY(mutex_);
    std::vector<Closable*> sources_ VMS_GUARDED_BY(mutex_);
    std::map<std::pair<std::string, std::string>, std::shared_ptr<SyncGroup>> sessions_
        VMS_GUARDED_BY(mutex_);

    // Last: their threads use everything above.
    HttpReactor reactor_;
    JobPool jobs_;
    JobPool logins_;
};

}  // namespace vms::httpdevice
