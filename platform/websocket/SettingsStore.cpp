#include <algorithm>

#include "platform/Mutex.h"
#include "platform/websocket/ClientLog.h"
#include "platform/websocket/SettingsStore.h"

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

WebSocketSettings InRange(WebSocketSettings settings) {
    constexpr std::chrono::milliseconds kLeastTime{1};
    settings.maxMessageBytes = std::clamp<size_t>(settings.maxMessageBytes, 1, 1 << 30);
    settings.pingAfter = std::max(settings.pingAfter, kLeastTime);
    settings.pongTimeout = std::max(settings.pongTimeout, kLeastTime);
    settings.closeTimeout = std::max(settings.closeTimeout, kLeastTime);
    return settings;
}

void SetWebSocketSettings(const WebSocketSettings& settings) {
    WebSocketSettings valid = InRange(settings);
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
