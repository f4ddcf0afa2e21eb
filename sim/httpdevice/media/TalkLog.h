#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "platform/Mutex.h"

namespace vms::sim::httpdevice {

/// What clients have said, by channel, for tests to compare. Safe from several threads.
class TalkLog {
public:
    struct Entry {
        uint64_t sessions = 0;
        uint64_t frames = 0;
        uint64_t refused = 0;  ///< frames that were not what had been agreed
        std::string payload;   ///< all payloads in order, at most the first 16 MiB
    };

    void Begin(int channel) VMS_EXCLUDES(mutex_);
    void Add(int channel, std::string_view payload) VMS_EXCLUDES(mutex_);
    void Refuse(int channel) VMS_EXCLUDES(mutex_);
    std::map<int, Entry> Entries() const VMS_EXCLUDES(mutex_);

private:
    mutable Mutex mutex_;
    std::map<int, Entry> entries_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::sim::httpdevice
