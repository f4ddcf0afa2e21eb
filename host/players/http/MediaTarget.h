#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/http/HttpExchange.h"
#include "host/sources/PlaybackStreams.h"
#include "host/sources/StreamAddress.h"

namespace vms::host {

/// What an address such as /live/hall/0.mp4?stream=1 names.
struct MediaTarget {
    StreamAddress stream;
    std::string ending;  ///< one of those that were offered
};

/// What an address has of a time range.
struct MediaRange {
    int32_t from = 0;  ///< s since the epoch, as PlaybackRequest
    int32_t to = 0;
    double speed = 1;  ///< 0.25 to 16: a whole number, or one part of a whole number
};

/// Reads an address. Re-entrant.
/// @param endings that there are, such as "ts"
/// @param failure set to the answer when there is none: 404 or 400
std::optional<MediaTarget> ReadMediaTarget(const HttpRequest& request,
                                           const std::vector<std::string>& endings,
                                           HttpResponse& failure);

/// Reads `from`, `to` and `speed`: ISO 8601 or seconds since the epoch. Re-entrant.
/// @param problem set to what is wrong when there is none
std::optional<MediaRange> ReadMediaRange(const std::map<std::string, std::string>& query,
                                         std::string& problem);

/// Reads `width`. Re-entrant. @return pixels, 0 = not told; nothing = it is wrong
std::optional<int> ReadWidth(const std::map<std::string, std::string>& query);

/// A speed as sources take it: n times, or -n for 1/n.
int SourceSpeed(double speed);

}  // namespace vms::host
