#include "host/players/rtsp/RtspPlayer.h"

#include <utility>

namespace vms::host {
namespace {

Chunk OwnChunk(std::string packets, UnitKind kind) {
    auto owner = std::make_shared<const std::string>(std::move(packets));
    const std::string_view body = *owner;
    return {{}, body, std::move(owner), kind, 0};
}

}  // namespace

RtspPlayer::RtspPlayer(std::shared_ptr<Connection> connection, std::shared_ptr<UdpFlow> udp,
                       long long number, Peer peer, std::string name, StreamAddress stream)
    : connection_(std::move(connection)),
      udp_(std::move(udp)),
      name_(std::move(name)),
      card_{number, std::move(peer), std::move(stream), udp_ != nullptr ? "rtsp/udp" : "rtsp/tcp"} {
}

void RtspPlayer::BeginLive(const std::vector<Chunk>& prelude, bool holds) {
    if (udp_ != nullptr)
        udp_->BeginLive(prelude, holds);
    else
        connection_->BeginLive(prelude, holds);
}

bool RtspPlayer::SendWhole(std::string packets, UnitKind kind) {
    if (udp_ != nullptr)
        return udp_->SendWhole(OwnChunk(std::move(packets), kind), SendQueue::Class::kUnit);
    connection_->SendUnit({}, packets, kind, true);
    return !connection_->IsGivenUp();
}

void RtspPlayer::SendControl(std::string packets) {
    if (packets.empty())
        return;
    if (udp_ != nullptr)
        udp_->SendWhole(OwnChunk(std::move(packets), UnitKind::kOther), SendQueue::Class::kControl);
    else
        connection_->SendRaw(packets);
}

PlayerInfo RtspPlayer::Describe() const {
    PlayerInfo info = card_.Describe(Counts());
    info.key = name_;
    return info;
}

SendCounts RtspPlayer::Counts() const {
    SendCounts counts = connection_->Counts();
    if (udp_ == nullptr)
        return counts;
    const SendCounts media = udp_->Counts();
    counts.sentUnits += media.sentUnits;
    counts.sentBytes += media.sentBytes;
    counts.droppedUnits += media.droppedUnits;
    counts.queuedUnits += media.queuedUnits;
    counts.queuedBytes += media.queuedBytes;
    return counts;
}

}  // namespace vms::host
