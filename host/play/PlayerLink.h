#pragma once

#include <json/value.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "host/play/StreamUrl.h"
#include "host/process/EventCount.h"
#include "platform/IWebSocketClient.h"
#include "platform/Mutex.h"
#include "websocket/INetEventHandle.h"

namespace vms::host {

/// What comes from the stream server.
struct LinkEvent {
    enum class Kind { kOpen, kUnit, kAnswer, kMessage, kClosed };
    Kind kind;
    std::string bytes;  ///< the unit, the message's body, or why the connection is closed
    int command = 0;    ///< of an answer
    int result = 0;     ///< of an answer
};

/// Whom a player believes over TLS.
struct LinkTrust {
    std::string fingerprint;  ///< SHA-256 of the server's certificate; "" = whom the system trusts
    bool isInsecure = false;  ///< everybody
};

/// A player's connection to a stream server. Events are queued for one thread that polls; a
/// connection that has been read from too slowly waits.
class PlayerLink final : private INetEventHandle {
public:
    /// Starts connecting. @throws HostError
    PlayerLink(const StreamUrl& url, const LinkTrust& trust);
    ~PlayerLink() override;
    PlayerLink(const PlayerLink&) = delete;
    PlayerLink& operator=(const PlayerLink&) = delete;

    /// Readable while an event waits.
    int Descriptor() const { return waiting_.Descriptor(); }
    std::optional<LinkEvent> Take() VMS_EXCLUDES(mutex_);

    /// @param command 0x100200 to 0x10020b @return false when not connected
    bool Request(int command, const std::string& key, const std::string& body);
    /// @param unit talk audio with its header @return false when not connected
    bool SendUnit(const std::string& unit);

private:
    struct Releaser {
        void operator()(IWebSocketClient* client) const { client->Release(); }
    };

    using INetEventHandle::OnRecv;
    void OnConnect(long long handle, const char* text, int len) override;
    void OnClose(long long handle, int code, const char* msg) override;
    void OnRecv(long long handle, const char* data, int len) override;
    void Put(LinkEvent event) VMS_EXCLUDES(mutex_);

    EventCount waiting_{"wait for media"};
    Mutex mutex_;
    CondVar taken_;
    std::deque<LinkEvent> events_ VMS_GUARDED_BY(mutex_);
    size_t waitingBytes_ VMS_GUARDED_BY(mutex_) = 0;
    bool ending_ VMS_GUARDED_BY(mutex_) = false;
    std::unique_ptr<IWebSocketClient, Releaser> client_;  ///< last: its events use all of the above
};

}  // namespace vms::host
