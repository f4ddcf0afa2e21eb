#include "sim/httpdevice/media/FrameHeader.h"

namespace vms::sim::httpdevice {

namespace {

template <class Number>
void Put(std::string& out, size_t at, Number value) {
    for (size_t i = 0; i < sizeof value; ++i)
        out[at + i] = static_cast<char>(static_cast<uint64_t>(value) >> (8 * i));
}

template <class Number>
Number Get(std::string_view bytes, size_t at) {
    uint64_t value = 0;
    for (size_t i = sizeof(Number); i-- > 0;)
        value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    return static_cast<Number>(value);
}

/// The length comes first, highest byte first: a first byte of 0 tells a frame from a text.
uint32_t Reversed(uint32_t value) {
    return value >> 24 | (value >> 8 & 0xff00U) | (value << 8 & 0xff0000U) | value << 24;
}

}  // namespace

std::string Write(const FrameHeader& header) {
    std::string out(FrameHeader::kSize, '\0');
    Put(out, 0, Reversed(header.payloadLength));
    Put(out, 4, static_cast<uint8_t>(header.kind));
    Put(out, 8, header.serial);
    Put(out, 12, static_cast<uint32_t>(header.timestamp));
    Put(out, 16, header.rate);
    Put(out, 20, header.width);
    Put(out, 24, header.height);
    Put(out, 28, header.codec);
    Put(out, 29, header.frameType);
    Put(out, 30, header.generation);
    Put(out, 32, static_cast<uint32_t>(header.timestamp >> 32));
    return out;
}

std::optional<FrameHeader> ReadFrameHeader(std::string_view bytes) {
    if (bytes.size() < FrameHeader::kSize || Get<uint8_t>(bytes, 4) > 1)
        return std::nullopt;
    FrameHeader header;
    header.payloadLength = Reversed(Get<uint32_t>(bytes, 0));
    header.kind = static_cast<FrameHeader::Kind>(Get<uint8_t>(bytes, 4));
    header.serial = Get<uint32_t>(bytes, 8);
    header.timestamp =
        static_cast<uint64_t>(Get<uint32_t>(bytes, 32)) << 32 | Get<uint32_t>(bytes, 12);
    header.rate = Get<uint32_t>(bytes, 16);
    header.width = Get<uint32_t>(bytes, 20);
    header.height = Get<uint32_t>(bytes, 24);
    header.codec = Get<uint8_t>(bytes, 28);
    header.frameType = Get<uint8_t>(bytes, 29);
    header.generation = Get<uint16_t>(bytes, 30);
    return header;
}

std::string Write(const EventHeader& header) {
    std::string out(EventHeader::kSize, '\0');
    Put(out, 0, header.signature);
    Put(out, 2, header.type);
    Put(out, 4, header.payloadLength);
    Put(out, 8, header.serial);
    Put(out, 12, header.timestamp);
    Put(out, 20, header.channel);
    return out;
}

}  // namespace vms::sim::httpdevice
