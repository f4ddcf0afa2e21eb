#include "host/players/websocket/WebSocketOutlet.h"

#include "host/net/Connection.h"
#include "host/players/websocket/PlayerProtocol.h"
#include "host/players/websocket/WebSocketFrame.h"

namespace vms::host {

void WebSocketOutlet::Pack(const MediaUnit& unit, Packed& packed) {
    packed.chunks.push_back(UnitFrame(unit));
}

void WebSocketOutlet::TellClient(Connection& client, const __tagTvCommand& message) {
    const std::string text = PlayerMessage(message);
    client.Send(TextFrame(text.size()), text, SendQueue::Class::kControl);
}

}  // namespace vms::host
