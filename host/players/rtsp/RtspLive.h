#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/players/PlayerContext.h"
#include "host/players/rtsp/RtspOutlet.h"
#include "host/players/rtsp/RtspSource.h"
#include "host/sources/LiveStreams.h"
#include "platform/Mutex.h"

namespace vms::host {

/// A live stream as one session watches it.
class RtspLive final : public RtspSource {
public:
    RtspLive(StreamAddress address, PlayerContext& context);
    ~RtspLive() override;

    void Open(Ready ready) override;
    void Tick() override;
    std::vector<std::string> Descriptions() const override;
    uint32_t TrackSource(size_t track) const override;
    std::string RangeText() const override { return "npt=now-"; }
    int Play(const RtspPlayOrder& order, const AnswerText& answer) override;
    void Pause() override;

private:
    /// What the stream's opening leads to; outlives the session if need be.
    class Link;

    const StreamAddress address_;
    PlayerContext& context_;
    const std::shared_ptr<Link> link_;
};

}  // namespace vms::host
