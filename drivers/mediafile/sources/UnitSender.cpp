#include "drivers/mediafile/sources/UnitSender.h"

namespace vms::mediafile {

void UnitSender::SendLive(MediaPacket& packet, uint32_t timestampMs) {
    Complete(packet, timestampMs);
    // First of all: a player that comes between the two calls then sees this picture twice, which
    // is harmless, instead of pictures that build on one it has never seen.
    if (packet.IsKey())
        sink_->UpdateKeyFrame(key_, packet.unit.data(), static_cast<int>(packet.unit.size()));
    Deliver(packet);
}

void UnitSender::Send(MediaPacket& packet, uint32_t timestampMs) {
    Complete(packet, timestampMs);
    Deliver(packet);
}

void UnitSender::Complete(MediaPacket& packet, uint32_t timestampMs) {
    packet.header.serial = serial_++;
    packet.header.timestampMs = timestampMs;
    WriteMediaHeader(packet.header, packet.unit.data());
}

void UnitSender::Deliver(MediaPacket& packet) {
    sink_->SteramCallback(key_, packet.unit.data(), static_cast<int>(packet.unit.size()));
}

}  // namespace vms::mediafile
