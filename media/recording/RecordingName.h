#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vms {

/// What a recording's file name tells.
struct RecordingName {
    int64_t startMs = 0;  ///< ms since the Unix epoch, UTC
    int fileType = 0;     ///< 1 schedule, 2 motion, 16 alarm
};

/// Reads YYYYMMDDTHHMMSSZ_<schedule|motion|alarm>.<mp4|mkv|ts>. Re-entrant.
/// @return nothing for any other name, also for days and hours that do not exist
std::optional<RecordingName> ParseRecordingName(const std::string& name);

/// yyyymmdd of a time, UTC.
int DayNumber(int64_t ms);

/// YYYYMMDDTHHMMSSZ of a time, UTC.
std::string TimeText(int64_t ms);

}  // namespace vms
