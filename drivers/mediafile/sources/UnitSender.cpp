#include "drivers/mediafile/sources/UnitSender.h"

#include "drivers/common/LiveUnit.h"

namespace vms::mediafile {

void UnitSender::SendLive(MediaPacket& packet, uint32_t timestampMs) {
    Complete(packet, timestampMs);
    HandLiveUnit(*sink_, key_, packet.unit.data(), static_cast<int>(packet.unit.size()));
}

void UnitSender::Send(MediaPacket& packet, uint32_t timestampMs) {
    Complete(packet, timestampMs);
    sink_->SteramCallback(key_, packet.unit.data(), static_cast<int>(packet.unit.size()));
}

void UnitSender::Complete(MediaPacket& packet, uint32_t timestampMs) {
    packet.header.serial = serial_++;
    packet.header.timestampMs = timestampMs;
    WriteMediaHeader(packet.header, packet.unit.data());
}

}  // namespace vms::mediafile
