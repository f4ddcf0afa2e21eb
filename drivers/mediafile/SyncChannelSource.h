#pragma once

#include <memory>
#include <string>

#include "drivers/mediafile/SyncGroup.h"
#include "videodevice/IPlaybackStreamServer.h"

namespace vms::mediafile {

/// One channel of a synchronous session. The session's clock says what is sent when, so the
/// operations that would move a single channel give -1.
class SyncChannelSource final : public IPlaybackStreamServer {
public:
    SyncChannelSource(std::shared_ptr<SyncGroup> group, int channel,
                      std::shared_ptr<SourceRegistry> registry);

    /// Joins the session where it is. Units arrive under "<key>--<channel>"; the range is the
    /// session's.
    void StartPlayback(std::string key, int channel, int beginTime, int endTime, int streamNo,
                       int recordType, int seekTime, IStreamCallback* sink,
                       bool firstStart) override;
    /// Not for a channel of a session: does nothing.
    void StartDownload(std::string key, int channel, int beginTime, int endTime,
                       IStreamCallback* sink) override;
    /// Leaves the session, for good.
    void StopPlayback(std::string key) override;
    std::string GetStreamUri() override;
    void RequestStopGetPlaybackStream() override;
    bool GetCloseGetStreamStatus() override;
    int Pause(std::string key) override;
    int Resume(std::string key) override;
    int SetSpeed(std::string key, int speed) override;
    int Seek(std::string key, int position) override;

private:
    const std::shared_ptr<SyncGroup> group_;
    const int channel_;
    const std::shared_ptr<ChannelPlayer> player_;
};

}  // namespace vms::mediafile
