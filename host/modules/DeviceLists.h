#pragma once

#include <map>
#include <string>
#include <thread>

#include "host/config/HostConfig.h"
#include "host/modules/BusClient.h"
#include "host/modules/DeviceChanges.h"
#include "host/process/LogSink.h"
#include "platform/Mutex.h"

namespace vms::host {

/// The configured devices of all modules, and the thread that reads them anew on demand. Modules
/// hear only of what has changed; a file that cannot be read changes nothing. Thread-safe.
class DeviceLists {
public:
    /// @param file           configuration file, @param defaultLibrary see ReadHostConfig
    /// @param current        what the modules have been started with
    /// @param bus, log       must outlive this object
    DeviceLists(std::string file, std::string defaultLibrary, HostConfig current, BusClient& bus,
                LogSink& log);

    /// Waits for a reload that is under way: as long as a module takes to answer.
    ~DeviceLists();
    DeviceLists(const DeviceLists&) = delete;
    DeviceLists& operator=(const DeviceLists&) = delete;

    /// Reads the file soon, on a thread of this object. Requests during a reload lead to one more.
    void Reload() VMS_EXCLUDES(mutex_);

    HostConfig Current() const VMS_EXCLUDES(mutex_);

    /// The module that has the device; "" = none.
    std::string ModuleOf(const std::string& device) const VMS_EXCLUDES(mutex_);

private:
    void Run() VMS_EXCLUDES(mutex_);
    bool WaitForRequest() VMS_EXCLUDES(mutex_);
    void ReloadNow() VMS_EXCLUDES(mutex_);
    void Warn(const HostConfig& wanted) VMS_EXCLUDES(mutex_);
    void TakeOff(const ModuleConfig& wanted) VMS_EXCLUDES(mutex_);
    void TakeIn(const ModuleConfig& wanted) VMS_EXCLUDES(mutex_);
    DeviceChanges Changes(const ModuleConfig& wanted) const VMS_EXCLUDES(mutex_);
    bool Tell(const std::string& module, __enumTvCommand command, const Json::Value& devices);
    void Keep(const std::string& module, const Json::Value& devices) VMS_EXCLUDES(mutex_);

    const std::string file_;
    const std::string defaultLibrary_;
    BusClient& bus_;
    LogSink& log_;
    mutable Mutex mutex_;
    CondVar changed_;
    HostConfig current_ VMS_GUARDED_BY(mutex_);  ///< what the modules have, as far as they answered
    std::map<std::string, std::string> moduleOf_ VMS_GUARDED_BY(mutex_);  ///< by device: the same
    bool requested_ VMS_GUARDED_BY(mutex_) = false;
    bool stop_ VMS_GUARDED_BY(mutex_) = false;
    std::thread thread_;  ///< last: uses all of the above
};

}  // namespace vms::host
