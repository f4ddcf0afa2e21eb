#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/unit/MediaUnit.h"

class ILogHandler;

/// What vmshost and the library that speaks WebRTC know of each other. The library is loaded only
/// where it is installed, so that the host needs nothing of what it is made of. Both come from the
/// same build; no exception crosses.
namespace vms::whep {

/// Changes with anything in this file.
inline constexpr int kPluginVersion = 1;

/// File name of the library.
inline constexpr char kPluginFile[] = "libvms_whep.so";

/// What one browser asks for. Constant.
struct SessionRequest {
    /// SDP with a section for video, and one for sound if there is an `audioPayload`; no
    /// candidates.
    std::string offer;
    int videoPayload = 0;            ///< payload type, 0..127
    std::string videoProfile;        ///< profile-level-id: six hexadecimal digits
    int audioPayload = -1;           ///< payload type, -1 = without sound
    bool isMuLaw = false;            ///< else A-law
    std::vector<std::string> hosts;  ///< numeric addresses to receive at, at least one
    int firstPort = 0;               ///< UDP ports to receive at, 0 = any
    int lastPort = 0;                ///< the same
};

/// Hears how a session goes; on any threads of the library's. Must not wait, nor throw. The session
/// keeps it as long as it may call it.
class SessionEvents {
public:
    virtual ~SessionEvents() = default;
    SessionEvents(const SessionEvents&) = delete;
    SessionEvents& operator=(const SessionEvents&) = delete;

    /// The answer to the offer, as SDP; once.
    virtual void Answered(const std::string& answer) noexcept = 0;
    /// From now on units are sent; once, after the answer.
    virtual void Connected() noexcept = 0;
    /// The browser cannot go on without a key picture.
    virtual void PictureWanted() noexcept = 0;
    /// It has failed, or the browser has gone; once. @param reason ASCII
    virtual void Ended(const std::string& reason) noexcept = 0;

protected:
    SessionEvents() = default;
};

/// A session with one browser. Whoever drops it ends it, without waiting; events may still come for
/// a moment. Thread-safe, but units are pushed by one thread at a time.
class Session {
public:
    virtual ~Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Sends a unit of video (Annex B, a whole picture) or sound. Does not wait.
    /// @param timeMs when it is to be seen or heard, on a clock of the caller's, which begins
    ///               anywhere and goes on as time does
    virtual void Push(const MediaUnit& unit, int64_t timeMs) noexcept = 0;

    /// What has been pushed and is not on its way yet. Bounds are the caller's business.
    virtual size_t WaitingBytes() const noexcept = 0;

protected:
    Session() = default;
};

/// Makes sessions, which it must outlive. Its destruction waits for those that are ending.
/// Thread-safe.
class Engine {
public:
    virtual ~Engine() = default;
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    /// Does not wait: how it goes the events tell. @return null without memory
    virtual std::shared_ptr<Session> Open(const SessionRequest& request,
                                          std::shared_ptr<SessionEvents> events) noexcept = 0;

protected:
    Engine() = default;
};

}  // namespace vms::whep

extern "C" {
/// What the library exports, as `CreateWhepEngine`. @param version kPluginVersion @param log must
/// outlive the engine @return null when the library is of another version, or cannot work here
using CreateWhepEngineFunction = vms::whep::Engine* (*)(int version, ILogHandler* log);
}
