#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/players/rtsp/RtspPlayer.h"
#include "host/players/rtsp/RtspRange.h"
#include "media/rtp/RtpStream.h"

namespace vms::host {

/// What a PLAY asks for.
struct RtspPlayOrder {
    std::shared_ptr<RtspPlayer> player;
    unsigned tracks = 0;  ///< that have been set up: a set of bits
    RtspRange range;
    int speed = 1;           ///< as sources count it
    uint8_t request = 0;     ///< the low byte of its CSeq
    bool wantsEnds = false;  ///< recordings: the last unit before a gap and the very last are
                             ///< marked, for which each unit waits until the next one has come
};

/// What comes of it.
struct RtspPlayResult {
    std::string range;                     ///< as an answer tells it
    int speed = 1;                         ///< as sources count it
    std::vector<RtpStream::Start> starts;  ///< of all tracks
};

/// What one session watches: a live stream or a recording. Of the session's I/O thread; what it
/// holds is given back with it.
class RtspSource {
public:
    /// Told once whether it can be described: 200, or a status and what is wrong. On any thread,
    /// perhaps inside Open, with locks held: must not wait.
    using Ready = std::function<void(int status, const std::string& text)>;
    /// Makes the text of an answer; with locks held.
    using AnswerText = std::function<std::string(const RtspPlayResult&)>;

    virtual ~RtspSource() = default;
    RtspSource(const RtspSource&) = delete;
    RtspSource& operator=(const RtspSource&) = delete;

    /// Once.
    virtual void Open(Ready ready) = 0;

    /// Once a second, so that nothing is waited for that does not come.
    virtual void Tick() = 0;

    /// Of each track, once it is ready.
    virtual std::vector<std::string> Descriptions() const = 0;
    virtual uint32_t TrackSource(size_t track) const = 0;
    /// The range that can be watched, as a description tells it.
    virtual std::string RangeText() const = 0;

    /// Begins, goes on or goes elsewhere: the player is sent the answer, and then what it has asked
    /// for. @return 200, or a status when nothing has been sent
    virtual int Play(const RtspPlayOrder& order, const AnswerText& answer) = 0;
    virtual void Pause() = 0;

protected:
    RtspSource() = default;
};

}  // namespace vms::host
