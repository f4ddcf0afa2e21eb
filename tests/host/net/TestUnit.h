#pragma once

#include <cstdint>
#include <string>

#include "media/unit/MediaHeader.h"

namespace vms::host::test {

enum class UnitType { kKey, kPicture, kSound };

/// A media unit: a header with its number as serial and 40 ms for each before it, then filling.
inline std::string TestUnit(UnitType type, int number, size_t size) {
    MediaUnitHeader header;
    header.serial = static_cast<uint32_t>(number);
    header.timestampMs = header.serial * 40;
    if (type == UnitType::kSound) {
        header.type = MediaType::kAudio;
        header.codec = static_cast<uint8_t>(AudioCodec::kALaw);
    } else {
        header.codec = static_cast<uint8_t>(VideoCodec::kH264);
        header.frameType =
            static_cast<uint8_t>(type == UnitType::kKey ? FrameType::kKey : FrameType::kPredicted);
    }
    std::string unit(size, static_cast<char>('a' + number % 26));
    WriteMediaHeader(header, unit.data());
    return unit;
}

/// -1 = no unit.
inline int UnitNumber(const std::string& unit) {
    MediaUnitHeader header;
    return ReadMediaHeader(unit, header) ? static_cast<int>(header.serial) : -1;
}

}  // namespace vms::host::test
