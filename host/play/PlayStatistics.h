#pragma once

#include <json/value.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "media/unit/MediaHeader.h"

namespace vms::host {

/// Counts what a player received. Thread-bound.
class PlayStatistics {
public:
    using Clock = std::chrono::steady_clock;
    using Now = Clock::time_point (*)();

    explicit PlayStatistics(Now now = &Clock::now) : now_(now), started_(now()) {}

    void Count(const MediaUnitHeader& header, size_t payloadBytes);
    void AddMessage(const std::string& text) { messages_.push_back(text); }

    uint64_t Units() const { return units_; }

    /// {"units", "bytes", "keyFrames", "lostUnits", "firstUnitMs", "seconds", "codecs": {"h264":
    /// {"units", "bytes", "firstTimestamp", "lastTimestamp", "width", "height"}}, "messages"}. Lost
    /// are units whose serials are missing between two that came, but not before pictures flow and
    /// the first second is over: a player is given the newest group without its old sound.
    Json::Value ToJson() const;
    /// The same for people, on one line.
    std::string ToText() const;

private:
    struct PerCodec {
        uint64_t units = 0;
        uint64_t bytes = 0;
        uint32_t firstTimestamp = 0;  ///< ms
        uint32_t lastTimestamp = 0;   ///< ms
        int width = 0;
        int height = 0;
    };

    void CountSerial(const MediaUnitHeader& header);
    double Seconds() const;

    const Now now_;
    const Clock::time_point started_;
    double firstUnitMs_ = -1;  ///< ms after the start, negative = none yet
    uint64_t units_ = 0;
    uint64_t bytes_ = 0;
    uint64_t keyFrames_ = 0;
    uint64_t lostUnits_ = 0;
    bool flows_ = false;  ///< a predicted picture has come
    bool joining_ = true;
    uint32_t lastSerial_ = 0;
    std::map<MediaCodec, PerCodec> codecs_;
    std::vector<std::string> messages_;
};

}  // namespace vms::host
