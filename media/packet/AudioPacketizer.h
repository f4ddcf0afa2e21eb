#pragma once

#include <memory>
#include <optional>

#include "media/packet/AdtsHeader.h"
#include "media/packet/LibavInput.h"
#include "media/packet/MediaPacket.h"

namespace vms {

/// Turns the packets of an audio stream into payloads: AAC with an ADTS header, G.711 as it is.
/// Thread-bound.
class AudioPacketizer {
public:
    /// @return null when players have no code for the stream's codec
    static std::unique_ptr<AudioPacketizer> Create(const AVStream& stream);

    /// @return false when the packet is damaged; the next one may be good
    bool Convert(const AVPacket& packet, MediaPacket& out) const;

private:
    AudioPacketizer(AudioCodec codec, int sampleRate);

    bool IsAac() const;

    const AudioCodec codec_;
    MediaUnitHeader header_;
    std::optional<AacConfig> aac_;  ///< none when the frames bring their own headers
};

}  // namespace vms
