#pragma once

#include <map>
#include <string>

#include "sim/httpdevice/media/AudioTracks.h"
#include "sim/media/ClipKind.h"

namespace vms::sim::httpdevice {

/// The encoded loops that all devices of the process share. Constant once made.
class MediaLibrary {
public:
    /// @param cacheFolder keeps the video for the next start; "" = none
    /// @throws std::runtime_error when something cannot be encoded
    explicit MediaLibrary(const std::string& cacheFolder);

    SharedTrack Video(ClipKind kind) const { return video_.at(kind); }
    SharedTrack Audio(AudioCodec codec) const { return audio_.at(codec); }

private:
    std::map<ClipKind, SharedTrack> video_;
    std::map<AudioCodec, SharedTrack> audio_;
};

}  // namespace vms::sim::httpdevice
