#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "host/config/HostConfig.h"
#include "host/modules/AddedDevices.h"
#include "host/modules/BusClient.h"
#include "host/modules/DeviceChanges.h"
#include "host/process/LogSink.h"
#include "platform/Mutex.h"

namespace vms::host {

class DeviceEdit;
class EditInbox;

/// A device that a module has been told of.
struct KnownDevice {
    std::string module;
    Json::Value description;  ///< its password included
    bool isAdded = false;     ///< while the host ran, not by its configuration
};

/// How a change of one device ended.
struct ChangeOutcome {
    enum class Kind {
        kDone,
        kUnknown,     ///< there is no such device
        kTaken,       ///< the identifier is another device's
        kConfigured,  ///< the device stands in the configuration, which only its file changes
        kInvalid,     ///< no such description, or no such module
        kFull,        ///< as many devices, or changes under way, as there may be
        kRefused,     ///< the module did not take it
        kSilent,      ///< the module has not answered in time
        kNotKept,     ///< the state could not keep it
    };
    Kind kind = Kind::kDone;
    std::string text;  ///< why not
};

struct DeviceLimits {
    size_t added = 10'000;  ///< devices that the configuration does not have
    size_t changes = 256;   ///< that wait or are under way
    BusClient::Duration patience = BusClient::kPatience;  ///< with a module, for one change
};

/// The devices of all modules: those of the configuration, which a thread of this object reads anew
/// on demand, and those that have been added since, which the state keeps. Modules hear only of
/// what has changed; a file that cannot be read changes nothing. No identifier is there twice: what
/// has been added stays, and an entry of the file with its identifier is left out.
///
/// Changes of one module's devices come one after the other, in the order in which they were asked
/// for; those of different modules side by side. A module that refuses a change, or does not
/// answer, or a state that cannot keep it, leaves everything as it was. Thread-safe.
class DeviceLists {
public:
    /// Called once, on a thread of this object or inside the call that asks; must not wait.
    using ChangeDone = std::function<void(const ChangeOutcome&)>;

    /// @param file           configuration file, @param defaultLibrary see ReadHostConfig
    /// @param current        what the modules have been started with
    /// @param bus, log       must outlive this object
    /// @param store          keeps added devices, must outlive this object; null = nothing does
    /// @param added          identifiers of those among the current ones that have been added
    DeviceLists(std::string file, std::string defaultLibrary, const HostConfig& current,
                BusClient& bus, LogSink& log, AddedDevices* store = nullptr,
                const std::set<std::string>& added = {}, const DeviceLimits& limits = {});

    /// Waits for a reload that is under way: as long as a module takes to answer. Changes that have
    /// not ended are told nothing more.
    ~DeviceLists();
    DeviceLists(const DeviceLists&) = delete;
    DeviceLists& operator=(const DeviceLists&) = delete;

    /// Reads the file soon, on a thread of this object. Requests during a reload lead to one more.
    void Reload() VMS_EXCLUDES(mutex_);

    /// Modules and all their devices: a copy of everything.
    HostConfig Current() const VMS_EXCLUDES(mutex_);

    /// The modules without their devices; constant.
    const HostConfig& Settings() const { return settings_; }

    /// The module that has the device; "" = none.
    std::string ModuleOf(const std::string& device) const VMS_EXCLUDES(mutex_);
    std::optional<KnownDevice> Find(const std::string& id) const VMS_EXCLUDES(mutex_);

    /// All devices, in the order of their identifiers.
    std::vector<KnownDevice> All() const VMS_EXCLUDES(mutex_);

    // None of these waits:

    /// @param description as ReadDeviceDescription has checked it
    void Add(const std::string& module, Json::Value description, ChangeDone done)
        VMS_EXCLUDES(mutex_);

    /// @param edit makes the new description of the old one, on a thread of this object; what is
    ///             wrong with it, "" = nothing
    void Change(const std::string& id, std::function<std::string(Json::Value& description)> edit,
                ChangeDone done) VMS_EXCLUDES(mutex_);
    void Remove(const std::string& id, ChangeDone done) VMS_EXCLUDES(mutex_);

private:
    friend DeviceEdit;
    friend EditInbox;
    class Inbox;
    using Work = std::function<void()>;

    void Run() VMS_EXCLUDES(mutex_);
    Work NextWork() VMS_EXCLUDES(mutex_);
    Work FindWork() VMS_REQUIRES(mutex_);
    void Deliver(Work answer) VMS_EXCLUDES(mutex_);
    void Submit(const std::shared_ptr<DeviceEdit>& edit) VMS_EXCLUDES(mutex_);

    // A reload, on this object's thread while no change is under way:
    void ReloadNow() VMS_EXCLUDES(mutex_);
    std::set<std::string> AddedIds() const VMS_EXCLUDES(mutex_);
    void Warn(const HostConfig& wanted);
    void TakeOff(const ModuleConfig& wanted) VMS_EXCLUDES(mutex_);
    void TakeIn(const ModuleConfig& wanted) VMS_EXCLUDES(mutex_);
    DeviceChanges Changes(const ModuleConfig& wanted) const VMS_EXCLUDES(mutex_);
    bool Tell(const std::string& module, __enumTvCommand command, const Json::Value& devices);

    // For changes, on this object's thread:
    void Put(const KnownDevice& device) VMS_EXCLUDES(mutex_);
    void Erase(const std::string& id) VMS_EXCLUDES(mutex_);
    size_t CountAdded() const VMS_EXCLUDES(mutex_);
    void Ended(const DeviceEdit& edit) VMS_EXCLUDES(mutex_);

    const std::string file_;
    const std::string defaultLibrary_;
    const HostConfig settings_;
    const DeviceLimits limits_;
    BusClient& bus_;
    LogSink& log_;
    AddedDevices* const store_;
    const std::shared_ptr<EditInbox> inbox_;  ///< what answers bring back to the thread

    mutable Mutex mutex_;
    CondVar changed_;
    /// What the modules have, as far as they answered.
    std::map<std::string, KnownDevice> devices_ VMS_GUARDED_BY(mutex_);
    size_t addedCount_ VMS_GUARDED_BY(mutex_) = 0;
    std::deque<std::shared_ptr<DeviceEdit>> waiting_ VMS_GUARDED_BY(mutex_);
    std::set<std::string> busy_ VMS_GUARDED_BY(mutex_);  ///< modules with a change under way
    std::deque<Work> answers_ VMS_GUARDED_BY(mutex_);
    bool requested_ VMS_GUARDED_BY(mutex_) = false;
    bool stop_ VMS_GUARDED_BY(mutex_) = false;
    std::thread thread_;  ///< last: uses all of the above
};

}  // namespace vms::host
