#pragma once

#include <memory>
#include <optional>

#include "platform/IWebSocketClient.h"
#include "platform/Mutex.h"
#include "platform/WebSocketSettings.h"

namespace vms {

class ClientSession;
class Connection;

/// The object behind IWebSocketClient: holds no more than the way to its session and connection,
/// so that it can go at any moment.
class WebSocketClient final : public IWebSocketClient {
public:
    /// @param settings of this client alone; nothing = those of the process when it connects
    explicit WebSocketClient(std::optional<WebSocketSettings> settings = std::nullopt);

    void Release() override;
    bool Connect(const char* host, int port, const char* path, const char* protocol, int timeoutMs,
                 bool secure) override VMS_EXCLUDES(mutex_);
    bool Send(const char* text, int length) override VMS_EXCLUDES(mutex_);
    void Stop() override VMS_EXCLUDES(mutex_);
    long long GetHandle() override;
    bool GetCloseStatus() override;
    void SetEventHandle(INetEventHandle* handler) override;
    bool SendBinary(const char* data, int length) override VMS_EXCLUDES(mutex_);

private:
    ~WebSocketClient();

    bool SendFrame(const char* data, int length, bool text) VMS_EXCLUDES(mutex_);
    std::shared_ptr<Connection> CurrentConnection() VMS_EXCLUDES(mutex_);

    const std::optional<WebSocketSettings> settings_;
    const std::shared_ptr<ClientSession> session_;

    Mutex mutex_;
    bool used_ VMS_GUARDED_BY(mutex_) = false;     ///< Connect was called
    bool stopped_ VMS_GUARDED_BY(mutex_) = false;  ///< Stop was called
    std::weak_ptr<Connection> connection_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms
