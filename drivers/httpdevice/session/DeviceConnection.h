#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "drivers/httpdevice/http/HttpTransfer.h"
#include "drivers/httpdevice/session/DeviceAddress.h"
#include "drivers/httpdevice/session/FamilyRuntime.h"
#include "drivers/httpdevice/session/Login.h"
#include "drivers/httpdevice/session/LoginPacer.h"
#include "platform/Mutex.h"

namespace vms::httpdevice {

/// One device: its login session, whether it is up, and the way of requests to it. Shared by the
/// driver and its sources; the last of them logs out. Thread-safe; requests to one device go one
/// after the other, never waiting for another device's. Logins hold no thread but for the hashing;
/// one at a time is under way, and no more often than LoginPacer allows.
class DeviceConnection : public std::enable_shared_from_this<DeviceConnection> {
public:
    /// Looks at an answer. @return whether it was what was asked for
    using Reader = std::function<bool(const std::string& answer)>;
    /// Hears how something has ended: on the thread that asked or one of the driver's, with no lock
    /// held; must not block. Never, once the family has ended.
    using Then = std::function<void(bool done)>;

    DeviceConnection(const __tagTvVideoParam& device, std::shared_ptr<FamilyRuntime> runtime);
    /// Logs out, in the background.
    ~DeviceConnection();
    DeviceConnection(const DeviceConnection&) = delete;
    DeviceConnection& operator=(const DeviceConnection&) = delete;

    /// From now on looks after the device in the background: login, heartbeat, and a look now and
    /// then while it is down. Returns at once.
    void Watch();

    /// Sends a request with the session, logging in first when there is none, and once more when
    /// the device has forgotten it. Blocks, at most for the time of a few requests; fails at once
    /// when the device is known to be down. What goes wrong is logged.
    bool Call(const std::string& url, const std::string& body, const Reader& read,
              AnswerBound bound = kLongAnswer) VMS_EXCLUDES(requestMutex_, stateMutex_);
    /// The same for requests whose answer is only a code.
    bool Call(const std::string& url, const std::string& body);

    /// Has a session that the device has just confirmed. Blocks like Call.
    bool Verify();

    /// The same, returning at once.
    void VerifyThen(Then then) VMS_EXCLUDES(stateMutex_);

    /// Gets another session than this one, which the device did not take. Returns at once.
    void RenewThen(const std::string& session, Then then) VMS_EXCLUDES(stateMutex_);

    /// "" when not logged in.
    std::string Session() VMS_EXCLUDES(stateMutex_);
    /// The same; while it is not known whether the device is there, waits for that.
    std::string SettledSession() VMS_EXCLUDES(stateMutex_);

    /// Whether the device is known to be down.
    bool IsDown() VMS_EXCLUDES(stateMutex_);

    /// Notes how many channels the device has told, and in which session. @param count 0 = unknown
    void NoteChannels(int count, const std::string& session) VMS_EXCLUDES(stateMutex_);
    /// False only for a channel that the device cannot have by what it told in its present session.
    bool MayHaveChannel(int channel) VMS_EXCLUDES(stateMutex_);
    /// @throws std::runtime_error, which names channel and device, unless MayHaveChannel
    void RequireChannel(int channel) VMS_EXCLUDES(stateMutex_);

    /// Spaces the beginnings of face sources. @return how long the caller must wait for its turn
    std::chrono::milliseconds TakeFaceTurn(std::chrono::milliseconds gap) VMS_EXCLUDES(stateMutex_);

    /// Logs out in the background; every call fails from now on.
    void Close() VMS_EXCLUDES(stateMutex_);

    const DeviceAddress& Address() const { return address_; }
    const std::shared_ptr<FamilyRuntime>& Runtime() const { return runtime_; }

private:
    using Clock = std::chrono::steady_clock;
    enum class Health { kUnknown, kUp, kDown };

    // On the caller's thread.
    bool Admit() VMS_EXCLUDES(stateMutex_);
    bool EnsureSession() VMS_REQUIRES(requestMutex_) VMS_EXCLUDES(stateMutex_);
    bool Recover(int code, const std::string& session) VMS_REQUIRES(requestMutex_)
        VMS_EXCLUDES(stateMutex_);
    bool ProveKey(const std::string& session) VMS_REQUIRES(requestMutex_) VMS_EXCLUDES(stateMutex_);
    HttpReply Carry(HttpRequest request) VMS_REQUIRES(requestMutex_) VMS_EXCLUDES(stateMutex_);

    // Logins, on whichever thread.
    void WithSession(Then then) VMS_EXCLUDES(stateMutex_);
    bool BeginLogin(Then then) VMS_EXCLUDES(stateMutex_);
    void SendLogin(std::shared_ptr<LoginDialog> dialog, HttpRequest request);
    void StepLogin(const std::shared_ptr<LoginDialog>& dialog, const HttpReply& reply)
        VMS_EXCLUDES(stateMutex_);
    void EndLogin(const LoginOutcome& outcome) VMS_EXCLUDES(stateMutex_);

    // In the background.
    void Look(uint64_t serial) VMS_EXCLUDES(stateMutex_);
    void SendLook(const std::string& session);
    void OnLook(const std::string& session, const HttpReply& reply) VMS_EXCLUDES(stateMutex_);
    void OnVerified(const std::string& session, const HttpReply& reply, const Then& then)
        VMS_EXCLUDES(stateMutex_);
    std::chrono::milliseconds NextLook() const VMS_REQUIRES(stateMutex_);
    void LookIn(std::chrono::milliseconds delay) VMS_REQUIRES(stateMutex_);

    HttpRequest Heartbeat(const std::string& session) const;
    void NoteReply(const HttpReply& reply) VMS_EXCLUDES(stateMutex_);
    void NoteUp() VMS_EXCLUDES(stateMutex_);
    void NoteDown(const std::string& why) VMS_EXCLUDES(stateMutex_);
    void Forget(const std::string& session) VMS_EXCLUDES(stateMutex_);
    void LogOut(const std::string& session);

    const DeviceAddress address_;
    const std::shared_ptr<FamilyRuntime> runtime_;

    // Held while a request of a caller is under way.
    Mutex requestMutex_;
    HttpTransfer transfer_ VMS_GUARDED_BY(requestMutex_);

    std::atomic<bool> keyProven_{false};  ///< once more than at login, in this session

    // Never held while anything waits for the device. Taken inside requestMutex_, never around it.
    Mutex stateMutex_;
    CondVar changed_;
    Health health_ VMS_GUARDED_BY(stateMutex_) = Health::kUnknown;
    std::string session_ VMS_GUARDED_BY(stateMutex_);
    int channels_ VMS_GUARDED_BY(stateMutex_) = 0;             ///< 0 = unknown
    std::string channelsSession_ VMS_GUARDED_BY(stateMutex_);  ///< in which they were told
    bool closed_ VMS_GUARDED_BY(stateMutex_) = false;
    bool settled_ VMS_GUARDED_BY(stateMutex_) = false;  ///< the first login has ended
    bool looking_ VMS_GUARDED_BY(stateMutex_) = false;  ///< a look is under way
    bool loggingIn_ VMS_GUARDED_BY(stateMutex_) = false;
    std::vector<Then> waiting_ VMS_GUARDED_BY(stateMutex_);  ///< for the login under way
    LoginPacer pacer_ VMS_GUARDED_BY(stateMutex_);
    int failedLooks_ VMS_GUARDED_BY(stateMutex_) = 0;  ///< one after the other
    uint64_t endedLooks_ VMS_GUARDED_BY(stateMutex_) = 0;
    uint64_t lookSerial_ VMS_GUARDED_BY(stateMutex_) = 0;  ///< of the look that is due next
    Clock::time_point lastLook_ VMS_GUARDED_BY(stateMutex_);
    Clock::time_point nextFaceTurn_ VMS_GUARDED_BY(stateMutex_);
};

}  // namespace vms::httpdevice
