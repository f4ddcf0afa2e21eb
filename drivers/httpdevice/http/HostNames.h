#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/HostResolver.h"
#include "platform/Mutex.h"

namespace vms::httpdevice {

/// One look-up of a host name, and what came of it. Thread-safe.
class HostLookUp {
public:
    struct Result {
        std::string addresses;  ///< separated by commas; "" = none
        std::string error;      ///< why there is none
    };

    /// Nothing while the look-up is under way.
    std::optional<Result> Get() VMS_EXCLUDES(mutex_);
    /// The same, waiting for it. @param cancelled ends the wait soon after becoming true
    std::optional<Result> Wait(std::chrono::milliseconds time, const std::atomic<bool>& cancelled)
        VMS_EXCLUDES(mutex_);

    void Set(Result result) VMS_EXCLUDES(mutex_);

private:
    Mutex mutex_;
    CondVar changed_;
    std::optional<Result> result_ VMS_GUARDED_BY(mutex_);
};

/// Addresses of the devices that are known by name. Names are looked up apart from everything else,
/// each once at a time and 64 side by side, since a dead name server holds a look-up for many
/// seconds. An address is good for a minute, and after that until a newer one has been found.
/// Thread-safe; nothing waits.
class HostNames {
public:
    /// @param onAnswer called on a look-up's thread whenever one has ended; must not block
    explicit HostNames(std::function<void()> onAnswer);
    /// Stops.
    ~HostNames();
    HostNames(const HostNames&) = delete;
    HostNames& operator=(const HostNames&) = delete;

    /// What is known of a name, or the look-up that is under way.
    /// @return null for an address, which needs none
    std::shared_ptr<HostLookUp> Ask(const std::string& host) VMS_EXCLUDES(mutex_);

    /// Leaves look-ups under way alone; when it returns, `onAnswer` does not run and will not.
    void Stop() VMS_EXCLUDES(mutex_);

private:
    using Clock = std::chrono::steady_clock;
    struct Name {
        std::shared_ptr<HostLookUp> known;  ///< the last that found something
        Clock::time_point since;            ///< when it did
        std::shared_ptr<HostLookUp> underWay;
    };

    /// @return what has been begun, or has failed at once
    std::shared_ptr<HostLookUp> Begin(const std::string& host, Name& name) VMS_REQUIRES(mutex_);
    void OnAnswer(const std::string& host, const std::shared_ptr<HostLookUp>& lookUp,
                  HostLookUp::Result result) VMS_EXCLUDES(mutex_);
    void MakeRoom() VMS_REQUIRES(mutex_);

    const std::function<void()> onAnswer_;

    Mutex mutex_;
    std::map<std::string, Name> names_ VMS_GUARDED_BY(mutex_);
    std::unique_ptr<HostResolver> resolver_ VMS_GUARDED_BY(mutex_);  ///< null once stopped
};

}  // namespace vms::httpdevice
