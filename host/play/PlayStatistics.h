#pragma once

#include <json/value.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "host/play/UnitHeader.h"

namespace vms {

/// Counts what a player received. Thread-bound.
class PlayStatistics {
public:
    PlayStatistics() : started_(std::chrono::steady_clock::now()) {}

    void Count(const UnitHeader& header, size_t payloadBytes);
    void AddMessage(const std::string& text) { messages_.push_back(text); }

    uint64_t Units() const { return units_; }

    /// {"units", "bytes", "keyFrames", "lostUnits", "firstUnitMs", "seconds", "codecs": {"h264":
    /// {"units", "bytes", "firstTimestamp", "lastTimestamp", "width", "height"}}, "messages"}. Lost
    /// are units whose serials are missing between two that came; not what lies between a cached
    /// key picture, which comes first, and the next live unit.
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

    void CountSerial(const UnitHeader& header);
    double Seconds() const;

    const std::chrono::steady_clock::time_point started_;
    double firstUnitMs_ = -1;  ///< ms after the start, negative = none yet
    uint64_t units_ = 0;
    uint64_t bytes_ = 0;
    uint64_t keyFrames_ = 0;
    uint64_t lostUnits_ = 0;
    bool joining_ = true;  ///< so far only key pictures, which may come from the cache
    uint32_t lastSerial_ = 0;
    std::map<UnitCodec, PerCodec> codecs_;
    std::vector<std::string> messages_;
};

}  // namespace vms
