#include "host/players/PlayerCard.h"

namespace vms::host {

PlayerInfo PlayerCard::Describe(const SendCounts& counts) const {
    PlayerInfo info;
    info.id = number;
    info.address = peer.address;
    info.port = peer.port;
    info.since = since;
    info.kind = kind;
    info.device = address.device;
    info.channel = address.channel;
    info.stream = address.stream;
    info.counts = counts;
    return info;
}

}  // namespace vms::host
