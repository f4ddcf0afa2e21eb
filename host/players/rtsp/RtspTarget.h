#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/sources/StreamAddress.h"

namespace vms::host {

/// What an RTSP address names:
///
///     rtsp://HOST/live/DEVICE/CHANNEL[/trackN]?stream=
///     rtsp://HOST/play/DEVICE/CHANNEL[/trackN]?stream=&from=&to=
struct RtspTarget {
    bool isLive = true;
    StreamAddress stream;
    int32_t from = 0;     ///< of a recording, s since the epoch
    int32_t to = 0;       ///< the same
    bool hasEnd = false;  ///< the address says where it ends, else that is now
    int track = -1;       ///< -1 = all

    /// Whether both name the same stream, whatever the track.
    bool SameStream(const RtspTarget& other) const;
};

/// Reads an address. Re-entrant. A "/trackN" that a player has put behind the query is understood.
/// @param now  the end of a range that has none, s since the epoch
/// @param text told what is wrong, a sentence without its full stop
/// @return 200; 400 or 404 when it names nothing
int ReadRtspTarget(std::string_view uri, int64_t now, RtspTarget& target, std::string& text);

/// The address of the whole stream that an address of one of its tracks names.
std::string RtspStreamUri(std::string_view uri);

/// The address of one track of the stream that an address names.
std::string RtspTrackUri(std::string_view uri, size_t track);

}  // namespace vms::host
