#pragma once

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <map>
#include <optional>

#include "platform/Mutex.h"

namespace vms {

/// Durations of recordings, read once per version of a file. Thread-safe.
class ProbeCache {
public:
    /// @param changed,size tell one version of the file from another
    /// @return ms, at least 1; nothing for a file without readable video, which is logged once
    std::optional<int64_t> DurationMs(const std::filesystem::path& file, int64_t changed,
                                      int64_t size) VMS_EXCLUDES(mutex_);

private:
    struct Entry {
        int64_t changed = 0;
        int64_t size = 0;
        std::optional<int64_t> durationMs;
    };

    Mutex mutex_;
    std::map<std::filesystem::path, Entry> entries_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms
