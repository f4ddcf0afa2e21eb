#include "platform/websocket/WebSocketClient.h"

#include <exception>
#include <new>
#include <string_view>
#include <utility>

#include "platform/websocket/ClientSession.h"
#include "platform/websocket/IoThreads.h"
#include "platform/websocket/SettingsStore.h"

namespace vms {
namespace {

/// @return null when there is no connection to be had
std::shared_ptr<Connection> MakeConnection(ConnectionRequest request,
                                           const WebSocketSettings& settings,
                                           std::shared_ptr<ClientSession> session) try {
    IoThreads* const io = IoThreads::Get();
    if (io == nullptr)
        return nullptr;
    const auto make = request.secure ? &MakeTlsConnection : &MakePlainConnection;
    return make(*io, std::move(request), settings, std::move(session));
} catch (const std::exception& error) {
    ClientLog::CannotConnect(error.what());
    return nullptr;
}

}  // namespace

WebSocketClient::WebSocketClient(std::optional<WebSocketSettings> settings)
    : settings_(std::move(settings)), session_(std::make_shared<ClientSession>()) {}

WebSocketClient::~WebSocketClient() = default;

void WebSocketClient::Release() {
    session_->Gate().SetHandler(nullptr);
    Stop();
    delete this;
}

bool WebSocketClient::Connect(const char* host, int port, const char* path, const char* protocol,
                              int timeoutMs, bool secure) {
    auto request = MakeConnectionRequest(host, port, path, protocol, timeoutMs, secure);
    MutexLock lock(mutex_);
    if (std::exchange(used_, true) || stopped_)
        return false;
    lock.Unlock();
    const WebSocketSettings settings = settings_ ? *settings_ : GetWebSocketSettings();
    const auto connection =
        request ? MakeConnection(std::move(*request), settings, session_) : nullptr;
    if (connection == nullptr) {
        session_->MarkClosed();
        return false;
    }
    // Before it starts: its first event may want to send.
    lock.Lock();
    connection_ = connection;
    const bool stopped = stopped_;
    lock.Unlock();
    connection->Start();
    if (stopped)
        connection->Close();
    return true;
}

bool WebSocketClient::Send(const char* text, int length) {
    return SendFrame(text, length, true);
}

bool WebSocketClient::SendBinary(const char* data, int length) {
    return SendFrame(data, length, false);
}

bool WebSocketClient::SendFrame(const char* data, int length, bool text) try {
    if (length < 0 || (data == nullptr && length > 0))
        return false;
    const auto connection = CurrentConnection();
    return connection != nullptr &&
           connection->Send(std::string_view(data, static_cast<size_t>(length)), text);
} catch (const std::bad_alloc&) {
    return false;
}

void WebSocketClient::Stop() {
    MutexLock lock(mutex_);
    stopped_ = true;
    const auto connection = connection_.lock();
    const bool used = used_;
    lock.Unlock();
    if (connection != nullptr)
        connection->Close();
    else if (!used)
        session_->MarkClosed();
}

long long WebSocketClient::GetHandle() {
    return session_->Handle();
}

bool WebSocketClient::GetCloseStatus() {
    return session_->Closed();
}

void WebSocketClient::SetEventHandle(INetEventHandle* handler) {
    session_->Gate().SetHandler(handler);
}

std::shared_ptr<Connection> WebSocketClient::CurrentConnection() {
    MutexLock lock(mutex_);
    return connection_.lock();
}

}  // namespace vms

IWebSocketClient* CreateWebSocketClient() {
    try {
        return new vms::WebSocketClient;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

IWebSocketClient* CreateWebSocketClient(const vms::WebSocketSettings& settings) {
    try {
        return new vms::WebSocketClient(vms::InRange(settings));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
