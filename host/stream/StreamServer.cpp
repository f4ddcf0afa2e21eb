#include "host/stream/StreamServer.h"

#include <cstddef>
#include <string_view>

namespace vms::host {

int StreamServer::SendData(long long connectionId, const char* data, int length, bool isPlayback) {
    if (data == nullptr || length <= 0)
        return -1;
    const auto receiver = receivers_.Find(connectionId);
    if (receiver == nullptr)
        return -1;
    const std::string_view unit(data, static_cast<size_t>(length));
    return receiver->SendUnit(unit, isPlayback) ? 0 : -1;
}

int StreamServer::SendCommand(long long connectionId, __tagTvCommand* command) {
    const auto receiver = receivers_.Find(connectionId);
    if (receiver == nullptr || command == nullptr)
        return -1;
    return receiver->SendCommand(*command) ? 0 : -1;
}

void StreamServer::CloseConnection(long long connectionId) {
    if (const auto receiver = receivers_.Find(connectionId))
        receiver->Close("closed by the host");
}

void StreamServer::GetServerAddress(std::string& host, int& port) {
    host = host_;
    port = port_;
}

int StreamServer::QueryDataCount(long long connectionId) {
    const auto receiver = receivers_.Find(connectionId);
    return receiver == nullptr ? -1 : receiver->QueuedUnits();
}

}  // namespace vms::host
