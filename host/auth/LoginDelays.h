#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <unordered_map>

#include "platform/Mutex.h"

namespace vms::host {

/// Slows down whoever guesses passwords: after a failure its address and the name it tried must
/// wait, 1 s at first, then twice as long each time, up to 60 s. An attempt while they wait is not
/// looked at and makes nothing longer. One address alone does not keep a name waiting for others
/// beyond its first second, and where somebody has logged in under a name before, that name never
/// waits. What happened 10 min ago is forgotten. Thread-safe.
class LoginDelays {
public:
    using Clock = std::chrono::steady_clock;
    using Time = Clock::time_point;

    static constexpr std::chrono::seconds kFirst{1};
    static constexpr std::chrono::seconds kLongest{60};
    static constexpr std::chrono::minutes kMemory{10};
    static constexpr size_t kMost = 4096;  ///< entries of each kind; the oldest is forgotten first

    /// How long an attempt must wait, 0 = it may be looked at. Rounded up, s.
    std::chrono::seconds Wait(const std::string& address, const std::string& name, Time now)
        VMS_EXCLUDES(mutex_);

    void Failed(const std::string& address, const std::string& name, Time now) VMS_EXCLUDES(mutex_);
    void Succeeded(const std::string& address, const std::string& name) VMS_EXCLUDES(mutex_);

private:
    struct Entry {
        std::string key;
        std::string address;  ///< of a name: the last that failed
        int failures = 0;
        Time until{};
        Time failed{};
    };
    /// The latest failure in front.
    class Table {
    public:
        Entry* Find(const std::string& key, Time now);
        Entry& FindOrAdd(const std::string& key, Time now);
        void Remove(const std::string& key);

    private:
        std::list<Entry> entries_;
        std::unordered_map<std::string, std::list<Entry>::iterator> places_;
    };

    static void Lengthen(Entry& entry, Time now);

    Mutex mutex_;
    Table addresses_ VMS_GUARDED_BY(mutex_);
    Table names_ VMS_GUARDED_BY(mutex_);
    Table known_ VMS_GUARDED_BY(mutex_);  ///< address and name that have logged in
};

/// The part of a numeric address that one customer of a network has: all of IPv4, also where it is
/// written as IPv6, and the first 64 bits of IPv6.
std::string AddressGroup(const std::string& address);

}  // namespace vms::host
