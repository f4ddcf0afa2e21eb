#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/players/PlayerContext.h"
#include "host/players/rtsp/RtspFeed.h"
#include "host/players/rtsp/RtspSource.h"
#include "host/sources/PlaybackStreams.h"

namespace vms::host {

/// A recording as one session watches it.
class RtspPlayback final : public RtspSource {
public:
    RtspPlayback(PlaybackRequest request, PlayerContext& context)
        : request_(std::move(request)), context_(context) {}
    ~RtspPlayback() override;

    void Open(Ready ready) override;
    void Tick() override { feed_->Tick(); }
    std::vector<std::string> Descriptions() const override { return feed_->Descriptions(); }
    uint32_t TrackSource(size_t track) const override { return feed_->TrackSource(track); }
    std::string RangeText() const override;
    int Play(const RtspPlayOrder& order, const AnswerText& answer) override;
    void Pause() override { feed_->Pause(); }

private:
    const PlaybackRequest request_;
    PlayerContext& context_;
    std::shared_ptr<RtspFeed> feed_;  ///< since Open
};

}  // namespace vms::host
