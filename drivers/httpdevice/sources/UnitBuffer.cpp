#include "drivers/httpdevice/sources/UnitBuffer.h"

#include <algorithm>
#include <cstring>

namespace vms::httpdevice {

void UnitBuffer::Deliver(IStreamCallback& sink, const std::string& key, const DeviceFrame& frame,
                         const char* data, int length, int64_t originMs) {
    const size_t payload = static_cast<size_t>(length) - kFrameHeaderSize;
    const size_t size = kMediaHeaderSize + payload;
    MediaUnitHeader header = frame.unit;
    header.timestampMs = static_cast<uint32_t>(std::max<int64_t>(frame.timeMs - originMs, 0));
    char* const out = memory_.Reserve(size);
    WriteMediaHeader(header, out);
    std::memcpy(out + kMediaHeaderSize, data + kFrameHeaderSize, payload);
    sink.SteramCallback(key, out, static_cast<int>(size));
    memory_.EndUse(size);
}

}  // namespace vms::httpdevice
