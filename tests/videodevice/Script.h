#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/Mutex.h"

namespace vms::test {

/// What a fake family does and what it was asked to do. Thread-safe.
class Script {
public:
    /// Operations named here return this, throw, or make nothing.
    void Result(const std::string& operation, int result);
    void Throw(const std::string& operation);
    void Null(const std::string& operation);
    /// Runs when an operation is called, on the caller's thread, with no lock held.
    void Hook(const std::string& operation, std::function<void()> hook);
    void Clear();

    /// Notes "operation details", runs its hook, then throws or returns its result (default 0).
    int Call(const std::string& operation, const std::string& details = "");
    bool MakesNull(const std::string& operation);

    /// Everything noted since the last call.
    std::vector<std::string> Take();
    /// Number of calls of one operation so far, taken ones included.
    int Count(const std::string& operation);

    /// Switch off to run for long without remembering everything.
    std::atomic<bool> remember{true};

private:
    Mutex mutex_;
    std::map<std::string, int> results_ VMS_GUARDED_BY(mutex_);
    std::set<std::string> throwing_ VMS_GUARDED_BY(mutex_);
    std::set<std::string> null_ VMS_GUARDED_BY(mutex_);
    std::map<std::string, std::function<void()>> hooks_ VMS_GUARDED_BY(mutex_);
    std::map<std::string, int> counts_ VMS_GUARDED_BY(mutex_);
    std::vector<std::string> calls_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::test
