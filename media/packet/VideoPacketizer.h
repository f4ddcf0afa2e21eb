#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "media/packet/LibavInput.h"
#include "media/packet/MediaPacket.h"

namespace vms {

/// Turns the packets of a video stream into payloads: H.264 and H.265 as Annex B with the parameter
/// sets in front of every key picture, JPEG as it is. Thread-bound.
class VideoPacketizer {
public:
    /// @return null when players have no code for the stream's codec
    static std::unique_ptr<VideoPacketizer> Create(const AVStream& stream);

    /// @param packet consumed
    /// @return false when it is damaged or yields nothing; the next one may be good
    bool Convert(AVPacket& packet, MediaPacket& out);

    /// Forgets what belongs to an earlier place in the stream.
    void Flush();

private:
    explicit VideoPacketizer(VideoCodec codec) : codec_(codec) {}

    bool OpenFilter(const AVStream& stream);
    bool Filter(AVPacket& packet);
    void Pack(const AVPacket& packet, MediaPacket& out) const;
    bool NeedsParameterSets(const AVPacket& packet, bool key) const;

    const VideoCodec codec_;
    MediaUnitHeader header_;
    BsfPtr filter_;  ///< null for JPEG
    std::vector<uint8_t> parameterSets_;
};

}  // namespace vms
