#pragma once

#include <json/value.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "drivers/httpdevice/session/DeviceConnection.h"
#include "platform/Mutex.h"
#include "websocket/INetEventHandle.h"

class IWebSocketClient;

namespace vms::httpdevice {

/// A WebSocket connection to a device for one stream: requests and answers in JSON, media frames.
/// When the device does not know the session (any more), logs in afresh and connects again, once.
/// A text beyond kShortAnswer ends the connection unread: it is parsed on a thread that all
/// connections of the process share.
/// Thread-safe; nothing but Shut waits.
class DeviceLink final : public INetEventHandle, public std::enable_shared_from_this<DeviceLink> {
public:
    /// Hears what happens. Calls come on network and driver threads, with no lock of the link held;
    /// those of one connection come one at a time.
    class Listener {
    public:
        /// The connection stands; also again, when it had to be made anew.
        virtual void OnLinkOpen() = 0;
        virtual void OnLinkAnswer(const std::string& action, int code, const Json::Value& data) = 0;
        /// @param data a header of kFrameHeaderSize bytes and a payload of the length it tells
        virtual void OnLinkFrame(const char* /*data*/, int /*length*/) {}
        /// The device has ended the stream by itself.
        virtual void OnLinkEnd(const std::string& /*reason*/) {}
        /// There is no connection, or no longer. Not after Stop.
        virtual void OnLinkLost() = 0;

    protected:
        ~Listener() = default;
    };

    /// What the device sends. Where there is no media, no message may be longer than a text.
    enum class Carries { kTexts, kMedia };

    /// @param listener stays alive until Shut has returned
    static std::shared_ptr<DeviceLink> Make(std::shared_ptr<DeviceConnection> device,
                                            Listener& listener, Carries carries = Carries::kMedia);

    /// For Make.
    DeviceLink(std::shared_ptr<DeviceConnection> device, Listener& listener, Carries carries);

    /// Connects, logging in first when need be; OnLinkOpen or OnLinkLost tells the outcome. A
    /// connection that there is goes, unheard from now on. Nothing happens after Stop.
    void Open() VMS_EXCLUDES(mutex_);

    /// Sends {"action", "data"} with the session put in. @return false when not connected
    bool Request(const char* action, Json::Value data = Json::Value(Json::objectValue))
        VMS_EXCLUDES(mutex_);
    /// Sends bytes as they are. @return false when not connected or too much waits to be sent
    bool SendBinary(const std::string& frame) VMS_EXCLUDES(mutex_);

    /// Calls a function of the listener later, unless Stop or Shut comes first.
    void After(std::chrono::milliseconds delay, std::function<void()> call);

    /// Closes the connection that there is and returns; OnLinkLost follows. Open makes another.
    void Close() VMS_EXCLUDES(mutex_);
    /// Closes the connection for good and returns.
    void Stop() VMS_EXCLUDES(mutex_);
    /// True when nothing is open and nothing will be: before Open, after a loss, some time after
    /// Stop.
    bool Closed() VMS_EXCLUDES(mutex_);

    /// Frees the connection. When it returns, the listener is not called and will not be.
    void Shut() VMS_EXCLUDES(mutex_);

    void OnConnect(long long handle, const char* text, int len) override;
    void OnClose(long long handle, int code, const char* msg) override VMS_EXCLUDES(mutex_);
    void OnRecv(long long handle, const char* data, int len) override;
    using INetEventHandle::OnRecv;

private:
    void Connect(const std::string& session, uint64_t attempt) VMS_EXCLUDES(mutex_);
    void ConnectAfresh(const std::string& refused, uint64_t attempt) VMS_EXCLUDES(mutex_);
    void ReportLost(uint64_t attempt);
    void TellLost(uint64_t attempt) VMS_EXCLUDES(mutex_);
    void FreeOld() VMS_EXCLUDES(mutex_);
    bool IsCurrent(long long handle) VMS_EXCLUDES(mutex_);
    void OnText(const char* data, int len) VMS_EXCLUDES(mutex_);
    void Refuse(int len) VMS_EXCLUDES(mutex_);
    /// Calls the listener from outside the client's events.
    void Tell(const std::function<void()>& call) VMS_EXCLUDES(mutex_);

    const std::shared_ptr<DeviceConnection> device_;
    Listener& listener_;
    const Carries carries_;
    std::atomic<bool> complained_{false};  ///< of what makes no sense, once

    Mutex mutex_;
    CondVar told_;
    uint64_t attempt_ VMS_GUARDED_BY(mutex_) = 0;                ///< to connect; counts Open
    IWebSocketClient* client_ VMS_GUARDED_BY(mutex_) = nullptr;  ///< owned
    long long handle_ VMS_GUARDED_BY(mutex_) = 0;  ///< of the client that is heard; 0 = none
    bool freeing_ VMS_GUARDED_BY(mutex_) = false;  ///< an old client, which may be in an event
    std::string session_ VMS_GUARDED_BY(mutex_);   ///< with which the connection was made
    bool stopped_ VMS_GUARDED_BY(mutex_) = false;
    bool refused_ VMS_GUARDED_BY(mutex_) = false;  ///< the device does not take the session
    bool renewed_ VMS_GUARDED_BY(mutex_) = false;  ///< since the last good answer
    bool joining_ VMS_GUARDED_BY(mutex_) = false;  ///< a login for this link is under way
    int calls_ VMS_GUARDED_BY(mutex_) = 0;         ///< of Tell that run
};

}  // namespace vms::httpdevice
