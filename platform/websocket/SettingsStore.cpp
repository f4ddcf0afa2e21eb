#include <algorithm>

#include "platform/Mutex.h"
#include "platform/WebSocketSettings.h"
#include "platform/websocket/ClientLog.h"

namespace vms {
namespace {

struct Store {
    Mutex mutex;
    WebSocketSettings settings VMS_GUARDED_BY(mutex);
};

/// Never destroyed: clients may ask until the very end.
Store& TheStore() {
    static Store& store = *new Store;
    return store;
}

}  // namespace

void SetWebSocketSettings(const WebSocketSettings& settings) {
    constexpr std::chrono::milliseconds kLeastTime{1};
    WebSocketSettings valid = settings;
    valid.maxMessageBytes = std::clamp<std::size_t>(settings.maxMessageBytes, 1, 1 << 30);
    valid.pingAfter = std::max(settings.pingAfter, kLeastTime);
    valid.pongTimeout = std::max(settings.pongTimeout, kLeastTime);
    valid.closeTimeout = std::max(settings.closeTimeout, kLeastTime);
    Store& store = TheStore();
    MutexLock lock(store.mutex);
    store.settings = std::move(valid);
}

WebSocketSettings GetWebSocketSettings() {
    Store& store = TheStore();
    MutexLock lock(store.mutex);
    return store.settings;
}

void SetWebSocketLog(ILogHandler* log) {
    ClientLog::SetSink(log);
}

}  // namespace vms
