#pragma once

#include <cstdint>
#include <string>

/// What a record search asks for. Times are seconds since the Unix epoch, UTC.
struct __tagTvSearchRecordParam {
    std::string id;         ///< device identifier
    int16_t channel = 0;    ///< device channel number
    int16_t streamNo = 0;   ///< device stream number
    int32_t fileType = 0;   ///< mask: 1 schedule, 2 motion, 16 alarm; 0 = all
    int32_t startTime = 0;  ///< s, inclusive
    int32_t endTime = 0;    ///< s, exclusive
};

/// One found recording.
struct __tagTvRecordFile {
    int32_t index = 0;      ///< position in the device's list
    int32_t fileType = 0;   ///< mask as in __tagTvSearchRecordParam
    int32_t startTime = 0;  ///< s since the Unix epoch, UTC
    int32_t endTime = 0;    ///< s since the Unix epoch, UTC
    int32_t fileSize = 0;   ///< bytes, clamped to INT32_MAX
};
