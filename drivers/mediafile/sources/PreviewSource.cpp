#include "drivers/mediafile/sources/PreviewSource.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "media/recording/RecordingReader.h"
#include "module/LogSink.h"
#include "platform/ILogHandler.h"

namespace vms::mediafile {
namespace {

constexpr int64_t kEndless = INT64_MAX / 4;
constexpr int64_t kMaxBehindMs = 1000;
constexpr int64_t kDefaultFrameMs = 40;
constexpr std::chrono::seconds kRetryTime{1};

int64_t FrameMs(const MediaPacket& packet) {
    return packet.header.rate > 0 ? 1000 / packet.header.rate : kDefaultFrameMs;
}

}  // namespace

PreviewSource::PreviewSource(std::shared_ptr<const RecordingIndex> index,
                             std::shared_ptr<SourceRegistry> registry)
    : index_(std::move(index)), thread_(std::move(registry), [this] { clock_.Poke(); }) {}

int PreviewSource::StartPreview(std::string key, int channel, int /*streamType*/,
                                IStreamCallback* sink) {
    if (sink == nullptr)
        return -1;
    if (!index_->HasChannel(channel)) {
        VMS_LOG(2, "PreviewSource", "no channel %d in \"%s\"", channel, index_->Root().c_str());
        return -1;
    }
    MutexLock lock(mutex_);
    if (!key_.empty())
        return -1;
    clock_.Load(0, kEndless, 0, PlaybackClock::State::kRunning);
    const bool started =
        thread_.Start([this, sender = UnitSender(sink, key), channel](
                          const std::atomic<bool>& stop) mutable { Run(sender, channel, stop); });
    if (started)
        key_ = std::move(key);
    return started ? 0 : -1;
}

void PreviewSource::StopPreview(std::string /*key*/) {
    thread_.RequestStop();
}

void PreviewSource::RequestStopGetPreviewStream() {
    thread_.RequestStop();
}

bool PreviewSource::GetCloseGetStreamStatus() {
    return thread_.Closed();
}

std::string PreviewSource::GetStreamUri() {
    MutexLock lock(mutex_);
    if (key_.empty())
        throw std::runtime_error("the live stream has not been started");
    return key_;
}

int PreviewSource::GetTalkEncodeType() {
    return static_cast<int>(AudioCodec::kALaw);
}

void PreviewSource::Run(UnitSender& sender, int channel, const std::atomic<bool>& stop) {
    while (!stop) {
        if (PlayOnce(sender, channel, stop))
            continue;
        VMS_LOG(2, "PreviewSource", "nothing to play in %s, channel %d", index_->Root().c_str(),
                channel);
        clock_.Sleep(kRetryTime, clock_.GetView().epoch, stop);
    }
}

/// @return whether anything was sent
bool PreviewSource::PlayOnce(UnitSender& sender, int channel, const std::atomic<bool>& stop) {
    bool played = false;
    for (const Recording& recording : index_->FindToPlay(channel, 0, 0, 0)) {
        if (stop)
            break;
        if (PlayFile(sender, recording, stop))
            played = true;
    }
    return played;
}

bool PreviewSource::PlayFile(UnitSender& sender, const Recording& recording,
                             const std::atomic<bool>& stop) {
    const auto reader = RecordingReader::Open(recording, stop);
    if (reader == nullptr)
        return false;
    const int64_t startMs = offsetMs_;
    bool sent = false;
    MediaPacket packet;
    while (reader->Next(packet)) {
        const int64_t timestamp = startMs + packet.timeMs - recording.startMs;
        if (!WaitFor(timestamp, stop))
            break;
        sender.SendLive(packet, static_cast<uint32_t>(timestamp));
        if (packet.IsVideo())
            offsetMs_ = std::max(offsetMs_, timestamp + FrameMs(packet));
        sent = true;
    }
    return sent;
}

bool PreviewSource::WaitFor(int64_t timestampMs, const std::atomic<bool>& stop) {
    const PlaybackClock::View view = clock_.GetView();
    // After a pause of the whole process the missed time is not caught up with.
    if (view.positionMs > timestampMs + kMaxBehindMs)
        clock_.SlipTo(view.epoch, timestampMs);
    return clock_.WaitUntil(member_, view.epoch, timestampMs, false, stop) ==
           PlaybackClock::Wake::kDue;
}

}  // namespace vms::mediafile
