#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "media/packet/AdtsHeader.h"
#include "media/unit/MediaUnit.h"

namespace vms {

/// Makes AAC of G.711, for containers that hold no other sound: units of one mono frame each, with
/// an ADTS header, at the rate of the samples. They lag behind by a frame, 128 ms at 8 kHz; their
/// timestamps say when they are to be heard. Thread-bound.
class SoundTranscoder {
public:
    SoundTranscoder();
    ~SoundTranscoder();
    SoundTranscoder(const SoundTranscoder&) = delete;
    SoundTranscoder& operator=(const SoundTranscoder&) = delete;

    static bool Takes(const MediaUnit& unit) {
        const MediaCodec codec = unit.Header().Codec();
        return codec == MediaCodec::kALaw || codec == MediaCodec::kMuLaw;
    }

    /// What comes of such a unit; nothing when there is no encoder for its rate.
    std::optional<AacConfig> ConfigFor(const MediaUnit& unit);

    /// @param unit  of a kind that it takes; whatever its rate or size, it costs no more than its
    ///              samples
    /// @param units gets the frames that are complete; none when there is no encoder for the rate
    void Take(const MediaUnit& unit, std::vector<MediaUnit>& units);

    /// The sound has ended: gives what is still on its way.
    void Finish(std::vector<MediaUnit>& units);

private:
    class Encoder;

    Encoder* EncoderFor(const MediaUnit& unit);

    std::unique_ptr<Encoder> encoder_;
    int rate_ = 0;  ///< of the encoder, or for which there is none
};

}  // namespace vms
