#pragma once

#include <memory>
#include <string>

#include "drivers/common/SessionChannel.h"
#include "drivers/mediafile/sources/SyncGroup.h"

namespace vms::mediafile {

/// One channel of a synchronous session. The session's clock says what is sent when, so the
/// operations that would move a single channel give -1.
class SyncChannelSource final : public SessionChannel {
public:
    SyncChannelSource(std::shared_ptr<SyncGroup> group, int channel,
                      std::shared_ptr<SourceRegistry> registry);

    /// Joins the session where it is. Units arrive under "<key>--<channel>"; the range is the
    /// session's. When the session gives its channel up nothing is sent until it takes it in again.
    /// @throws std::runtime_error when the session has no room, and once closed
    void StartPlayback(std::string key, int channel, int beginTime, int endTime, int streamNo,
                       int recordType, int seekTime, IStreamCallback* sink,
                       bool firstStart) override;
    void RequestStopGetPlaybackStream() override;
    bool GetCloseGetStreamStatus() override;

private:
    const std::shared_ptr<SyncGroup> group_;
    const int channel_;
    const std::shared_ptr<ChannelPlayer> player_;
};

}  // namespace vms::mediafile
