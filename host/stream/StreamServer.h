#pragma once

#include <string>

#include "host/stream/ReceiverTable.h"
#include "platform/IStreamConnectionController.h"

namespace vms::host {

/// The host's stream server as modules see it: media and messages by the numbers of receivers.
/// Thread-safe; no call waits.
class StreamServer final : public IStreamConnectionController {
public:
    /// @param receivers must outlive this object
    /// @param host, port where players reach the server
    StreamServer(ReceiverTable& receivers, std::string host, int port)
        : receivers_(receivers), host_(std::move(host)), port_(port) {}

    int SendData(long long connectionId, const char* data, int length, bool isPlayback) override;
    int SendCommand(long long connectionId, __tagTvCommand* command) override;
    void CloseConnection(long long connectionId) override;
    void GetServerAddress(std::string& host, int& port) override;
    int QueryDataCount(long long connectionId) override;

private:
    ReceiverTable& receivers_;
    const std::string host_;
    const int port_;
};

}  // namespace vms::host
