#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "media/packet/MediaPacket.h"
#include "videodevice/IStreamCallback.h"

namespace vms::mediafile {

/// Completes packets to media units and hands them to the sink. Thread-bound.
class UnitSender {
public:
    /// @param sink not owned
    UnitSender(IStreamCallback* sink, std::string key) : sink_(sink), key_(std::move(key)) {}

    /// One unit of a live stream; key pictures are kept by the sink for players that come later.
    void SendLive(MediaPacket& packet, uint32_t timestampMs);

    /// One unit of a recording.
    void Send(MediaPacket& packet, uint32_t timestampMs);

    /// A text for the players.
    void Tell(const char* message) { sink_->MsgCallback(key_, message); }

    /// Units that wait for the player; -1 when there is none.
    int Queued() { return sink_->QueryDataCountToSend(key_); }

private:
    void Complete(MediaPacket& packet, uint32_t timestampMs);

    IStreamCallback* const sink_;
    const std::string key_;
    uint32_t serial_ = 0;
};

}  // namespace vms::mediafile
