#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace vms {

/// Longest recording that is believed in; whatever a damaged header claims is cut to it.
inline constexpr int64_t kMaxRecordingMs = 24LL * 3600 * 1000;

/// One recorded file of a channel. Times are milliseconds since the Unix epoch, UTC.
struct Recording {
    std::filesystem::path path;
    int fileType = 0;     ///< one of 1 schedule, 2 motion, 16 alarm
    int64_t startMs = 0;  ///< from the file's name; the time of its first picture
    int64_t endMs = 0;    ///< start plus duration
    int64_t size = 0;     ///< bytes
    bool exact = true;    ///< false: `endMs` is only what names let expect
};

using RecordingList = std::vector<Recording>;

}  // namespace vms
