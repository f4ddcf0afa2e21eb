#include "host/api/FaceWatch.h"

#include <algorithm>
#include <atomic>
#include <utility>
#include <vector>

#include "host/api/FaceOutlet.h"
#include "host/sources/LiveStreams.h"

namespace vms::host {
namespace {

constexpr int kSubStream = 1;
constexpr int kMostDoublings = 4;  ///< of the time until a stream is asked for again

using Clock = std::chrono::steady_clock;

}  // namespace

/// One channel that is watched: its stream, as long as there is one. Thread-safe.
class FaceWatch::Channel : public std::enable_shared_from_this<Channel> {
public:
    Channel(PlayerContext& context, EventLog& events, StreamAddress address,
            std::chrono::milliseconds retry)
        : context_(context), events_(events), address_(std::move(address)), retry_(retry) {}

    ~Channel() { Drop(share_); }

    /// Asks for the stream unless it is there or has been asked for not long ago.
    void Open() VMS_EXCLUDES(mutex_) {
        std::shared_ptr<LiveShare> over;
        {
            MutexLock lock(mutex_);
            if (isAsked_ || (share_ != nullptr && !*isOver_) || Clock::now() < next_)
                return;
            isAsked_ = true;
            over.swap(share_);
        }
        Drop(over);
        over = nullptr;  // else the stream would be found to be there
        context_.live.Open(address_,
                           [weak = weak_from_this()](const std::shared_ptr<LiveShare>& share,
                                                     const SourceProblem& problem) {
                               if (const auto self = weak.lock())
                                   self->Opened(share, problem);
                           });
    }

private:
    void Opened(const std::shared_ptr<LiveShare>& share, const SourceProblem& problem)
        VMS_EXCLUDES(mutex_) {
        bool isNews = false;
        const auto isOver = std::make_shared<std::atomic<bool>>(false);
        {
            MutexLock lock(mutex_);
            isAsked_ = false;
            isOver_ = isOver;
            share_ = share;
            isNews = share == nullptr && failures_ == 0;
            next_ = Clock::now() + retry_ * (1 << std::min(failures_, kMostDoublings));
            failures_ = share == nullptr ? failures_ + 1 : 0;
        }
        if (share != nullptr)
            Use(*share, isOver, [](FaceOutlet&) {});
        if (!isNews)
            return;
        HostEvent event{"faces-failed", address_.device, address_.channel,
                        Json::Value(Json::objectValue)};
        event.data["reason"] = problem.text;
        events_.Append(std::move(event));
    }

    /// The outlet shares no channel: that must not end under the relay's lock.
    template <class Do>
    void Use(const LiveShare& share, const std::shared_ptr<std::atomic<bool>>& isOver, Do what) {
        share.Stream().WithOutlet(
            FaceOutlet::kKind,
            [&] {
                return std::make_shared<FaceOutlet>(events_, address_,
                                                    [isOver] { *isOver = true; });
            },
            [&what](Outlet& outlet) { what(static_cast<FaceOutlet&>(outlet)); });
    }

    void Drop(const std::shared_ptr<LiveShare>& share) {
        if (share != nullptr)
            Use(*share, nullptr, [](FaceOutlet& outlet) { outlet.Leave(); });
    }

    PlayerContext& context_;
    EventLog& events_;
    const StreamAddress address_;
    const std::chrono::milliseconds retry_;
    Mutex mutex_;
    bool isAsked_ VMS_GUARDED_BY(mutex_) = false;
    int failures_ VMS_GUARDED_BY(mutex_) = 0;          ///< in a row
    Clock::time_point next_ VMS_GUARDED_BY(mutex_){};  ///< not to be asked for before
    std::shared_ptr<LiveShare> share_ VMS_GUARDED_BY(mutex_);
    std::shared_ptr<std::atomic<bool>> isOver_ VMS_GUARDED_BY(mutex_);  ///< whether it has ended
};

FaceWatch::FaceWatch(PlayerContext& context, EventLog& events, std::chrono::milliseconds retry)
    : context_(context), events_(events), retry_(retry), thread_([this] { Run(); }) {}

FaceWatch::~FaceWatch() {
    {
        MutexLock lock(mutex_);
        stop_ = true;
        stopped_.NotifyAll();
    }
    thread_.join();
}

std::shared_ptr<void> FaceWatch::Watch(const std::string& device, int channel) {
    const StreamAddress address{device, channel, kSubStream, true};
    std::shared_ptr<Channel> watched;
    {
        MutexLock lock(mutex_);
        std::erase_if(channels_, [](const auto& one) { return one.second.expired(); });
        const auto known = channels_.find(address);
        watched = known == channels_.end() ? nullptr : known->second.lock();
        if (watched == nullptr) {
            if (channels_.size() >= kMost)
                return nullptr;
            watched = std::make_shared<Channel>(context_, events_, address, retry_);
            channels_[address] = watched;
        }
    }
    watched->Open();
    return watched;
}

void FaceWatch::Run() {
    for (;;) {
        {
            const auto next = Clock::now() + retry_;
            MutexLock lock(mutex_);
            while (!stop_ && stopped_.WaitUntil(mutex_, next)) {
            }
            if (stop_)
                return;
        }
        Sweep();
    }
}

void FaceWatch::Sweep() {
    std::vector<std::shared_ptr<Channel>> all;
    {
        MutexLock lock(mutex_);
        for (const auto& [address, channel] : channels_) {
            if (auto there = channel.lock())
                all.push_back(std::move(there));
        }
    }
    for (const auto& channel : all)
        channel->Open();
}

}  // namespace vms::host
