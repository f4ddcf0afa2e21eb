#include "platform/websocket/ClientSession.h"

#include <string>

#include "websocket/INetEventHandle.h"

namespace vms {
namespace {

long long NextHandle() {
    static std::atomic<long long> last{0};
    return ++last;
}

}  // namespace

ClientSession::ClientSession() : handle_(NextHandle()) {}

void ClientSession::Opened(std::string_view protocol) {
    const std::string text(protocol);
    gate_.Deliver([&](INetEventHandle& handler) {
        handler.OnConnect(handle_, text.c_str(), static_cast<int>(text.size()));
    });
}

void ClientSession::Received(const char* data, size_t size) {
    gate_.Deliver(
        [&](INetEventHandle& handler) { handler.OnRecv(handle_, data, static_cast<int>(size)); });
}

void ClientSession::Ended(int code, const char* message) {
    gate_.Deliver([&](INetEventHandle& handler) { handler.OnClose(handle_, code, message); });
    MarkClosed();
}

}  // namespace vms
