#include "host/players/rtsp/RtspPlayback.h"

#include "host/players/rtsp/RtspRange.h"

namespace vms::host {

RtspPlayback::~RtspPlayback() {
    if (feed_ != nullptr)
        feed_->Close();
}

void RtspPlayback::Open(Ready ready) {
    feed_ = std::make_shared<RtspFeed>(request_, std::move(ready), context_.log);
    context_.playbacks.Open(
        request_, feed_,
        [feed = feed_](std::shared_ptr<Playback> playback, const SourceProblem& problem) {
            feed->OnOpen(std::move(playback), problem);
        });
}

std::string RtspPlayback::RangeText() const {
    return RtspRangeText(false, 0, (int64_t{request_.to} - request_.from) * 1000);
}

int RtspPlayback::Play(const RtspPlayOrder& order, const AnswerText& answer) {
    return feed_->Play(order, answer);
}

}  // namespace vms::host
