#include "drivers/mediafile/sources/SyncChannelSource.h"

#include <stdexcept>
#include <utility>

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
    if (!group_->Attach(channel_, player_))
        throw std::runtime_error("channel " + std::to_string(channel_) +
                                 " cannot join the session");
    player_->Assign({std::move(key) + "--" + std::to_string(channel_), sink, channel_,
                     group_->FileTypes(), false, "playback end"});
    if (!player_->Start())
        throw std::runtime_error("the channel's stream cannot be started");
}

void SyncChannelSource::RequestStopGetPlaybackStream() {
    player_->Cancel();
}

bool SyncChannelSource::GetCloseGetStreamStatus() {
    return player_->Closed();
}

}  // namespace vms::mediafile
