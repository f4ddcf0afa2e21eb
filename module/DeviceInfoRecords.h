#pragma once

#include <cstdint>
#include <list>

/// What a device supports.
struct __tagTvDeviceCapability {
    int32_t supportThirdStream = 0;
    int32_t supportTiming = 0;
    int32_t version6_0 = 0;
    int32_t poeNum = -1;              ///< number of PoE ports; -1 = unknown
    int32_t supportSyncPlayback = 0;  ///< 1: synchronous playback can be created; not reported
};

/// A query for the days that hold recordings.
struct __tagTvRecordDate {
    int32_t channel = 0;
    int32_t streamNo = 0;
    int32_t fileType = 19;  ///< mask: 1 schedule, 2 motion, 16 alarm
    int32_t startTime = 0;  ///< s since the Unix epoch, UTC
    int32_t endTime = 0;    ///< s since the Unix epoch, UTC
};

struct __tagTvChannelPermission {
    int32_t channel = -1;
    int32_t flag[4] = {};
};

/// What the logged-in user may do.
struct __tagTvDevicePermission {
    int32_t remote[8] = {};
    std::list<__tagTvChannelPermission> channels;
};
