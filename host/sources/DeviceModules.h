#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "host/modules/BusClient.h"
#include "host/sources/SourceProblem.h"
#include "platform/Mutex.h"

namespace vms::host {

/// Asks the modules for streams of their devices. A device has a share of the requests that wait,
/// so that a silent one holds up nobody else. Thread-safe; no call waits.
class DeviceModules {
public:
    /// @return the module that has the device, "" = none. Any thread; must not wait
    using ModuleOf = std::function<std::string(const std::string& device)>;

    /// The key of a stream, or "" and what is wrong.
    using KeyDone = std::function<void(const std::string& key, const SourceProblem& problem)>;

    /// As many requests of one device may wait for it.
    static constexpr int kMostWaiting = 16;
    /// Longest wait for an answer.
    static constexpr std::chrono::seconds kPatience{20};

    /// @param bus must outlive this object, and so must whatever `moduleOf` uses
    DeviceModules(BusClient& bus, ModuleOf moduleOf)
        : bus_(bus), moduleOf_(std::move(moduleOf)), places_(std::make_shared<Places>()) {}

    /// @param id   of a command that answers with a stream's address
    /// @param done called once, on any thread, maybe inside; must not wait
    void AskForKey(const std::string& device, __enumTvCommand id, const std::string& body,
                   KeyDone done);

private:
    /// Of the requests under way; outlives whoever asked, as modules may.
    class Places {
    public:
        bool Enter(const std::string& device) VMS_EXCLUDES(mutex_);
        void Leave(const std::string& device) VMS_EXCLUDES(mutex_);

    private:
        Mutex mutex_;
        std::map<std::string, int> waiting_ VMS_GUARDED_BY(mutex_);  ///< by device
    };

    BusClient& bus_;
    const ModuleOf moduleOf_;
    const std::shared_ptr<Places> places_;
};

}  // namespace vms::host
