#include "host/players/rtsp/RtspLive.h"

#include <utility>

namespace vms::host {

/// The share of the stream, which may come when nobody wants it any more.
class RtspLive::Link : public std::enable_shared_from_this<RtspLive::Link> {
public:
    explicit Link(PlayerContext& context) : context_(context) {}

    void OnShare(const std::shared_ptr<LiveShare>& share, const SourceProblem& problem,
                 const Ready& ready) VMS_EXCLUDES(mutex_) {
        if (share == nullptr) {
            ready(problem.status, problem.text);
            return;
        }
        {
            MutexLock lock(mutex_);
            if (isOver_)
                return;
            share_ = share;
        }
        share->Stream().WithOutlet(RtspOutlet::kKind, Maker(), [this, &ready](Outlet& outlet) {
            auto& rtsp = static_cast<RtspOutlet&>(outlet);
            MutexLock lock(mutex_);
            if (isOver_)
                return;
            outlet_ = rtsp.shared_from_this();
            rtsp.Attach(this, [ready](const std::string& wrong) {
                ready(wrong.empty() ? 200 : 415, wrong);
            });
        });
    }

    std::shared_ptr<RtspOutlet> Way() const VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        return outlet_;
    }

    /// Gives everything back.
    void End() VMS_EXCLUDES(mutex_) {
        std::shared_ptr<LiveShare> share;
        std::shared_ptr<RtspOutlet> outlet;
        {
            MutexLock lock(mutex_);
            isOver_ = true;
            share = std::exchange(share_, nullptr);
            outlet = std::exchange(outlet_, nullptr);
        }
        if (outlet == nullptr)
            return;
        outlet->Detach(this);
        // Whoever uses the outlet last has it removed.
        share->Stream().WithOutlet(RtspOutlet::kKind, Maker(), [](Outlet&) {});
    }

private:
    std::function<std::shared_ptr<Outlet>()> Maker() const {
        return [this] { return std::make_shared<RtspOutlet>(context_.bursts, context_.log); };
    }

    PlayerContext& context_;
    mutable Mutex mutex_;
    bool isOver_ VMS_GUARDED_BY(mutex_) = false;
    std::shared_ptr<LiveShare> share_ VMS_GUARDED_BY(mutex_);
    std::shared_ptr<RtspOutlet> outlet_ VMS_GUARDED_BY(mutex_);
};

RtspLive::RtspLive(StreamAddress address, PlayerContext& context)
    : address_(std::move(address)), context_(context), link_(std::make_shared<Link>(context)) {}

RtspLive::~RtspLive() {
    link_->End();
}

void RtspLive::Open(Ready ready) {
    context_.live.Open(
        address_, [link = link_, ready = std::move(ready)](const std::shared_ptr<LiveShare>& share,
                                                           const SourceProblem& problem) {
            link->OnShare(share, problem, ready);
        });
}

void RtspLive::Tick() {
    if (const auto outlet = link_->Way())
        outlet->Settle();
}

std::vector<std::string> RtspLive::Descriptions() const {
    const auto outlet = link_->Way();
    return outlet == nullptr ? std::vector<std::string>() : outlet->Descriptions();
}

uint32_t RtspLive::TrackSource(size_t track) const {
    const auto outlet = link_->Way();
    return outlet == nullptr ? 0 : outlet->Source(track);
}

int RtspLive::Play(const RtspPlayOrder& order, const AnswerText& answer) {
    const auto outlet = link_->Way();
    if (outlet == nullptr)
        return 503;
    outlet->Join(link_.get(), order.player, order.tracks, [&](const RtspStarts& starts) {
        return answer({RangeText(), 1, starts});
    });
    order.player->Tcp()->FlushHere();
    return 200;
}

void RtspLive::Pause() {
    if (const auto outlet = link_->Way())
        outlet->Leave(link_.get());
}

}  // namespace vms::host
