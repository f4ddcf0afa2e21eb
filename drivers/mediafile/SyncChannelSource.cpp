#include "drivers/mediafile/SyncChannelSource.h"

#include <utility>

#include "drivers/common/DriverLog.h"

namespace vms::mediafile {

SyncChannelSource::SyncChannelSource(std::shared_ptr<SyncGroup> group, int channel,
                                     std::shared_ptr<SourceRegistry> registry)
    : group_(std::move(group)),
      channel_(channel),
      player_(
          std::make_shared<ChannelPlayer>(group_->Index(), std::move(registry), group_->Clock())) {}

void SyncChannelSource::StartPlayback(std::string key, int /*channel*/, int /*beginTime*/,
                                      int /*endTime*/, int /*streamNo*/, int /*recordType*/,
                                      int /*seekTime*/, IStreamCallback* sink,
                                      bool /*firstStart*/) {
    if (sink == nullptr)
        return;
    if (!group_->Attach(channel_, player_)) {
        VMS_DRIVER_LOG(2, "SyncChannelSource", "channel %d cannot join the session", channel_);
        return;
    }
    player_->Assign({std::move(key) + "--" + std::to_string(channel_), sink, channel_,
                     group_->FileTypes(), false, "playback end"});
    player_->Start();
}

void SyncChannelSource::RequestStopGetPlaybackStream() {
    player_->Cancel();
}

bool SyncChannelSource::GetCloseGetStreamStatus() {
    return player_->Closed();
}

}  // namespace vms::mediafile
