#include "platform/websocket/WebSocketClient.h"

#include <exception>
#include <new>
#include <string_view>
#include <utility>

#include "platform/websocket/ClientSession.h"
#include "platform/websocket/IoThreads.h"

namespace vms {
namespace {

/// @return null when there is no connection to be had
std::shared_ptr<Connection> StartConnection(ConnectionRequest request,
                                            std::shared_ptr<ClientSession> session) try {
    IoThreads* const io = IoThreads::Get();
    if (io == nullptr)
        return nullptr;
    const auto make = request.secure ? &MakeTlsConnection : &MakePlainConnection;
    auto connection = make(*io, std::move(request), GetWebSocketSettings(), std::move(session));
    connection->Start();
    return connection;
} catch (const std::exception& error) {
    ClientLog::IoThreadCaught(error.what());
    return nullptr;
}

}  // namespace

WebSocketClient::WebSocketClient() : session_(std::make_shared<ClientSession>()) {}

WebSocketClient::~WebSocketClient() = default;

void WebSocketClient::Release() {
    session_->Gate().SetHandler(nullptr);
    Stop();
    delete this;
}

bool WebSocketClient::Connect(const char* host, int port, const char* path, const char* protocol,
                              int timeoutMs, bool secure) {
    MutexLock lock(mutex_);
    if (std::exchange(used_, true))
        return false;
    auto request = MakeConnectionRequest(host, port, path, protocol, timeoutMs, secure);
    const auto connection = request ? StartConnection(std::move(*request), session_) : nullptr;
    if (connection == nullptr)
        session_->MarkClosed();
    connection_ = connection;
    return connection != nullptr;
}

bool WebSocketClient::Send(const char* text, int length) try {
    if (length < 0 || (text == nullptr && length > 0))
        return false;
    const auto connection = CurrentConnection();
    return connection != nullptr &&
           connection->Send(std::string_view(text, static_cast<std::size_t>(length)));
} catch (const std::bad_alloc&) {
    return false;
}

void WebSocketClient::Stop() {
    const auto connection = CurrentConnection();
    if (connection != nullptr)
        return connection->Close();
    MutexLock lock(mutex_);
    if (!std::exchange(used_, true))
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
