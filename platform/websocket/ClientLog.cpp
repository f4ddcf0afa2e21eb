#include "platform/websocket/ClientLog.h"

#include <atomic>

#include "platform/ILogHandler.h"

namespace vms::ClientLog {
namespace {

constinit std::atomic<ILogHandler*> sink{nullptr};
constinit std::atomic<bool> saidUnverified{false};

constexpr const char* kFunction = "WebSocketClient";

}  // namespace

void SetSink(ILogHandler* handler) noexcept {
    sink = handler;
}

void HandlerThrew(const char* what) noexcept try {
    if (ILogHandler* const log = sink)
        log->Log(3, kFunction, "event handler threw: %s\n", what);
} catch (...) {
    // A sink that fails must not take the connection down with it.
}

void CannotConnect(const char* why) noexcept try {
    if (ILogHandler* const log = sink)
        log->Log(3, kFunction, "cannot connect: %s\n", why);
} catch (...) {
}

void IoThreadCaught(const char* what) noexcept try {
    if (ILogHandler* const log = sink)
        log->Log(3, kFunction, "connection lost to an exception: %s\n", what);
} catch (...) {
}

void TlsIsUnverified() noexcept try {
    ILogHandler* const log = sink;
    if (log != nullptr && !saidUnverified.exchange(true))
        log->Log(2, kFunction, "TLS certificates of devices are not verified\n");
} catch (...) {
}

}  // namespace vms::ClientLog
