#include "drivers/mediafile/sources/ChannelPlayer.h"

#include <algorithm>
#include <utility>

namespace vms::mediafile {
namespace {

/// More than so many units in the player's queue: wait. About a second of video with sound.
constexpr int kMaxQueued = 64;
constexpr std::chrono::milliseconds kQueuePoll{10};
/// Pace of a download that nobody takes: enough for the sink to notice that nobody does.
constexpr std::chrono::milliseconds kAbandonedPace{100};
constexpr int64_t kMaxBehindMs = 250;

}  // namespace

ChannelPlayer::ChannelPlayer(std::shared_ptr<const RecordingIndex> index,
                             std::shared_ptr<SourceRegistry> registry,
                             std::shared_ptr<PlaybackClock> clock)
    : index_(std::move(index)),
      clock_(std::move(clock)),
      thread_(std::move(registry), [this] { Stop(); }) {}

void ChannelPlayer::Assign(PlayJob job) {
    auto shared = std::make_shared<const PlayJob>(std::move(job));
    MutexLock lock(mutex_);
    job_.swap(shared);
}

bool ChannelPlayer::Start() {
    return thread_.Start([this](const std::atomic<bool>&) { Run(); });
}

void ChannelPlayer::Leave() {
    {
        MutexLock lock(mutex_);
        GetUp();
    }
    clock_->Poke();
}

void ChannelPlayer::Return() {
    MutexLock lock(mutex_);
    if (seat_ == nullptr && !stopped_)
        seat_ = std::make_shared<Seat>();
    changed_.NotifyAll();
}

void ChannelPlayer::Stop() {
    {
        MutexLock lock(mutex_);
        stopped_ = true;
        GetUp();
        changed_.NotifyAll();
    }
    clock_->Poke();
}

void ChannelPlayer::GetUp() {
    if (seat_ != nullptr)
        seat_->left = true;
    seat_.reset();
}

/// @return null when the thread shall end
std::shared_ptr<const ChannelPlayer::Seat> ChannelPlayer::WaitForSeat() {
    MutexLock lock(mutex_);
    while (seat_ == nullptr && !stopped_)
        changed_.Wait(mutex_);
    return seat_;
}

ChannelPlayer::Job ChannelPlayer::CurrentJob() {
    MutexLock lock(mutex_);
    return job_;
}

void ChannelPlayer::Run() {
    while (const auto seat = WaitForSeat())
        RunSeated(seat->left);
}

void ChannelPlayer::RunSeated(const std::atomic<bool>& left) {
    const PlaybackClock::Member member(*clock_);
    for (Wake wake = Wake::kChanged; wake != Wake::kStopped;) {
        const PlaybackClock::View view = clock_->GetView();
        if (Job current = CurrentJob(); current != playing_) {
            playing_ = std::move(current);
            sender_.emplace(playing_->sink, playing_->key);
        }
        wake = Wake::kDue;
        if (view.state != PlaybackClock::State::kStopped) {
            wake = Play({view, member, *playing_, *sender_, left});
            if (wake == Wake::kDue)
                sender_->Tell(playing_->endMessage);
        }
        if (wake == Wake::kDue)
            wake = clock_->WaitChange(member, view.epoch, left);
    }
}

/// @return kDue at the end of the range
ChannelPlayer::Wake ChannelPlayer::Play(const Pass& pass) {
    const PlaybackClock::View& view = pass.view;
    RecordingCursor cursor(
        index_->FindToPlay(pass.job.channel, view.positionMs, view.endMs, pass.job.fileTypes),
        view.positionMs, pass.stop);
    MediaPacket packet;
    for (bool afterGap = false; cursor.Next(packet, afterGap) && packet.timeMs < view.endMs;) {
        if (!IsWanted(pass.job, packet))
            continue;
        Wake wake = WaitForTurn(pass, packet, afterGap);
        if (wake == Wake::kDue)
            wake = WaitForRoom(pass, packet.timeMs);
        if (wake != Wake::kDue)
            return wake;
        // Pictures that only lead up to the beginning of the range carry its time.
        const int64_t timestamp = std::max<int64_t>(packet.timeMs - view.beginMs, 0);
        pass.sender.Send(packet, static_cast<uint32_t>(timestamp));
    }
    return pass.stop ? Wake::kStopped : Wake::kDue;
}

ChannelPlayer::Wake ChannelPlayer::WaitForTurn(const Pass& pass, const MediaPacket& packet,
                                               bool afterGap) {
    if (pass.job.download)
        return clock_->WaitRunning(pass.view.epoch, pass.stop);
    return clock_->WaitUntil(pass.member, pass.view.epoch, packet.timeMs, afterGap, pass.stop);
}

ChannelPlayer::Wake ChannelPlayer::WaitForRoom(const Pass& pass, int64_t timeMs) {
    int queued = pass.sender.Queued();
    if (queued < 0 && pass.job.download)
        return clock_->Sleep(kAbandonedPace, pass.view.epoch, pass.stop);
    if (queued <= kMaxQueued)
        return Wake::kDue;
    for (; queued > kMaxQueued; queued = pass.sender.Queued()) {
        const Wake wake = clock_->Sleep(kQueuePoll, pass.view.epoch, pass.stop);
        if (wake != Wake::kDue)
            return wake;
    }
    // The player goes on where it had to wait; it is not made to catch up.
    if (clock_->GetView().positionMs > timeMs + kMaxBehindMs)
        clock_->SlipTo(pass.view.epoch, timeMs);
    return Wake::kDue;
}

bool ChannelPlayer::IsWanted(const PlayJob& job, const MediaPacket& packet) {
    if (job.download)
        return true;
    const PlaybackSpeed speed = clock_->Speed();
    if (!packet.IsVideo())
        return speed.IsNormal();
    return packet.IsKey() || !speed.KeyFramesOnly();
}

}  // namespace vms::mediafile
