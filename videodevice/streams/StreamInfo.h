#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "videodevice/IFaceFrameServer.h"
#include "videodevice/IPlaybackStreamServer.h"
#include "videodevice/IPreviewStreamServer.h"
#include "videodevice/streams/CacheLine.h"
#include "videodevice/streams/ClientList.h"

/// One live, playback, download or synchronous-channel stream. Always held by shared pointer: media
/// threads and tables share it. Owns its sources, so the last reference may only go once they have
/// closed; the retirement sees to that.
///
/// Has its cache lines to itself: every media unit counts references and notes the time in it.
///
/// "Constant": set before the record enters a table, unchanged afterwards. "Table lock": read and
/// written under the lock of the table that holds the record.
struct alignas(vms::kCacheLine) StreamInfo {
    enum Kind : int32_t { kLive = 0, kPlayback = 1 };

    StreamInfo() = default;
    ~StreamInfo();
    StreamInfo(const StreamInfo&) = delete;
    StreamInfo& operator=(const StreamInfo&) = delete;

    std::string key;                                        ///< constant; what players present
    std::string deviceId;                                   ///< constant
    int32_t channel = 0;                                    ///< constant; device channel
    std::unique_ptr<IPreviewStreamServer> previewServer;    ///< constant; null unless live
    std::unique_ptr<IPlaybackStreamServer> playbackServer;  ///< constant; null when live
    std::shared_ptr<IFaceFrameServer> faceServer;           ///< table lock; null: no face frames
    vms::ClientList clients;                                ///< table lock
    std::atomic<int64_t> lastActive{0};  ///< s since the epoch: created, reused or delivered
    int32_t streamKind = kLive;          ///< constant; a Kind
    int32_t streamType = 0;              ///< constant; device stream number
    int32_t beginTime = 0;               ///< table lock; s since the epoch, 0 = never started
    int32_t endTime = 0;                 ///< table lock; s since the epoch, 0 = never started
};
