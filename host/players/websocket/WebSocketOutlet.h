#pragma once

#include "host/relay/ClientOutlet.h"

namespace vms::host {

/// The players of a live stream that came over WebSocket: each unit is a binary message, each
/// message of the source a text.
class WebSocketOutlet final : public ClientOutlet {
public:
    static constexpr char kKind[] = "websocket";

    using ClientOutlet::ClientOutlet;

private:
    void Pack(const MediaUnit& unit, Packed& packed) override;
    void TellClient(Connection& client, const __tagTvCommand& message) override;
};

}  // namespace vms::host
