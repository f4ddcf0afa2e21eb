#pragma once

#include <string>

#include "videodevice/IPlaybackStreamServer.h"

namespace vms {

/// What the channels of synchronous sessions have in common, whatever the family: the session's
/// clock says what is sent when, so the operations that would move a single channel give -1, and a
/// stop is a close. Any thread; nothing here waits or calls the sink.
class SessionChannel : public IPlaybackStreamServer {
public:
    /// Not for a channel of a session: does nothing.
    void StartDownload(std::string /*key*/, int /*channel*/, int /*beginTime*/, int /*endTime*/,
                       IStreamCallback* /*sink*/) final {}
    /// Leaves the session, for good.
    void StopPlayback(std::string /*key*/) final { RequestStopGetPlaybackStream(); }
    std::string GetStreamUri() final { return {}; }
    int Pause(std::string /*key*/) final { return -1; }
    int Resume(std::string /*key*/) final { return -1; }
    int SetSpeed(std::string /*key*/, int /*speed*/) final { return -1; }
    int Seek(std::string /*key*/, int /*position*/) final { return -1; }
};

}  // namespace vms
