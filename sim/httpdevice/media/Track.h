#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "sim/httpdevice/media/FrameHeader.h"

namespace vms::sim::httpdevice {

/// An endless loop of frames on a grid in time: frame n begins at n * frameMs and is the same
/// whoever asks. Payloads are shared by everybody who sends them. Constant once made.
struct Track {
    struct Frame {
        std::shared_ptr<const std::string> payload;
        bool key = true;
    };

    FrameHeader::Kind kind = FrameHeader::Kind::kVideo;
    uint8_t codec = 0;
    uint32_t rate = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t kilobitsPerSecond = 0;
    int64_t frameMs = 40;
    std::vector<Frame> frames;

    const Frame& At(int64_t number) const {
        return frames[static_cast<size_t>(number) % frames.size()];
    }
    /// The number of the first frame at or after that time.
    int64_t FirstFrom(int64_t milliseconds) const { return (milliseconds + frameMs - 1) / frameMs; }
    /// The last key frame at or before that time.
    int64_t KeyBefore(int64_t milliseconds) const {
        int64_t number = milliseconds / frameMs;
        while (number > 0 && !At(number).key)
            --number;
        return number;
    }
};

using SharedTrack = std::shared_ptr<const Track>;

/// What one stream of a channel carries.
struct TrackPair {
    SharedTrack video;
    SharedTrack audio;  ///< null = no sound
};

}  // namespace vms::sim::httpdevice
