#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/IWebSocketClient.h"
#include "platform/Mutex.h"
#include "websocket/INetEventHandle.h"

namespace vms::test {

struct Event {
    enum Kind { kConnect, kMessage, kClose } kind;
    std::string text;
    int code = 0;
};

/// Remembers a client's events. Thread-safe.
class EventRecorder : public INetEventHandle {
public:
    /// Runs inside every event, on the receive thread, with no lock held.
    std::function<void(const Event&)> hook;

    void OnConnect(long long handle, const char* text, int len) override;
    void OnClose(long long handle, int code, const char* msg) override;
    void OnRecv(long long handle, const char* data, int len) override;
    using INetEventHandle::OnRecv;

    /// @return whether there were that many events in time
    [[nodiscard]] bool WaitForEvents(size_t count);
    [[nodiscard]] bool WaitForClose();
    [[nodiscard]] bool WaitForConnect() {
        return WaitForEvents(1) && Events()[0].kind == Event::kConnect;
    }

    std::vector<Event> Events();
    std::vector<std::string> Messages();
    /// The last event, or an empty message.
    Event Last();

private:
    void Add(Event event);

    Mutex mutex_;
    CondVar added_;
    std::vector<Event> events_ VMS_GUARDED_BY(mutex_);
};

struct ReleaseClient {
    void operator()(IWebSocketClient* client) const { client->Release(); }
};
using ClientPtr = std::unique_ptr<IWebSocketClient, ReleaseClient>;

ClientPtr MakeClient(INetEventHandle* handler);

/// Waits for something without a signal of its own. @return whether it came true in time
[[nodiscard]] bool Eventually(const std::function<bool()>& condition);

}  // namespace vms::test
