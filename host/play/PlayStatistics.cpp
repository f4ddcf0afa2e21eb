#include "host/play/PlayStatistics.h"

#include <cstdio>

namespace vms::host {
namespace {

constexpr double kJoinMs = 1000;

}  // namespace

void PlayStatistics::Count(const MediaUnitHeader& header, size_t payloadBytes) {
    if (units_ == 0)
        firstUnitMs_ = Seconds() * 1000;
    if (header.Codec() != MediaCodec::kFace)
        CountSerial(header);
    ++units_;
    bytes_ += payloadBytes;
    keyFrames_ += header.IsKeyPicture() ? 1 : 0;
    PerCodec& codec = codecs_[header.Codec()];
    if (codec.units++ == 0)
        codec.firstTimestamp = header.timestampMs;
    codec.bytes += payloadBytes;
    codec.lastTimestamp = header.timestampMs;
    codec.width = header.width;
    codec.height = header.height;
}

/// Faces come from a channel of their own and carry no serials.
void PlayStatistics::CountSerial(const MediaUnitHeader& header) {
    if (!joining_ && header.serial > lastSerial_ + 1)
        lostUnits_ += header.serial - lastSerial_ - 1;
    lastSerial_ = header.serial;
    flows_ = flows_ || header.Kind() == UnitKind::kPicture || header.Codec() == MediaCodec::kJpeg;
    joining_ = joining_ && !(flows_ && Seconds() * 1000 - firstUnitMs_ >= kJoinMs);
}

double PlayStatistics::Seconds() const {
    return std::chrono::duration<double>(now_() - started_).count();
}

Json::Value PlayStatistics::ToJson() const {
    Json::Value json(Json::objectValue);
    json["units"] = static_cast<Json::UInt64>(units_);
    json["bytes"] = static_cast<Json::UInt64>(bytes_);
    json["keyFrames"] = static_cast<Json::UInt64>(keyFrames_);
    json["lostUnits"] = static_cast<Json::UInt64>(lostUnits_);
    json["firstUnitMs"] = firstUnitMs_;
    json["seconds"] = Seconds();
    json["codecs"] = Json::Value(Json::objectValue);
    for (const auto& [kind, codec] : codecs_) {
        Json::Value& one = json["codecs"][CodecName(kind)];
        one["units"] = static_cast<Json::UInt64>(codec.units);
        one["bytes"] = static_cast<Json::UInt64>(codec.bytes);
        one["firstTimestamp"] = codec.firstTimestamp;
        one["lastTimestamp"] = codec.lastTimestamp;
        one["width"] = codec.width;
        one["height"] = codec.height;
    }
    json["messages"] = Json::Value(Json::arrayValue);
    for (const std::string& message : messages_)
        json["messages"].append(message);
    return json;
}

std::string PlayStatistics::ToText() const {
    char line[160];
    std::snprintf(line, sizeof line, "%llu units, %.1f kB in %.1f s",
                  static_cast<unsigned long long>(units_), static_cast<double>(bytes_) / 1000,
                  Seconds());
    std::string text = line;
    for (const auto& [kind, codec] : codecs_) {
        text += std::string("; ") + CodecName(kind) + " " + std::to_string(codec.units);
        if (codec.width > 0)
            text += " (" + std::to_string(codec.width) + "x" + std::to_string(codec.height) + ")";
    }
    if (lostUnits_ > 0)
        text += "; lost " + std::to_string(lostUnits_);
    return text;
}

}  // namespace vms::host
