#include <boost/beast/src.hpp>

#include "platform/websocket/BeastConnection.inl"
#include "platform/websocket/BeastHandshake.inl"
#include "platform/websocket/BeastTransfer.inl"

namespace vms {

std::shared_ptr<Connection> MakePlainConnection(IoThreads& io, ConnectionRequest request,
                                                const WebSocketSettings& settings,
                                                std::shared_ptr<ConnectionSink> sink) {
    return std::make_shared<BeastConnection<PlainStream>>(io, std::move(request), settings,
                                                          std::move(sink), nullptr);
}

}  // namespace vms
