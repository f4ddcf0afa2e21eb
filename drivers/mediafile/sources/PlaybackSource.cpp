#include "drivers/mediafile/sources/PlaybackSource.h"

#include <optional>
#include <stdexcept>
#include <utility>

namespace vms::mediafile {

PlaybackSource::PlaybackSource(std::shared_ptr<const RecordingIndex> index,
                               std::shared_ptr<SourceRegistry> registry)
    : index_(std::move(index)), player_(index_, std::move(registry), clock_) {}

void PlaybackSource::StartPlayback(std::string key, int channel, int beginTime, int endTime,
                                   int /*streamNo*/, int recordType, int seekTime,
                                   IStreamCallback* sink, bool /*firstStart*/) {
    Start({std::move(key), sink, channel, recordType, false, "playback end"}, beginTime, endTime,
          seekTime);
}

void PlaybackSource::StartDownload(std::string key, int channel, int beginTime, int endTime,
                                   IStreamCallback* sink) {
    Start({std::move(key), sink, channel, 0, true, "download end"}, beginTime, endTime, 0);
}

void PlaybackSource::Start(PlayJob job, int beginTime, int endTime, int seekTime) {
    if (job.sink == nullptr)
        return;
    index_->RequireChannel(job.channel);
    const bool seeks = seekTime > beginTime && seekTime < endTime;
    player_.Assign(std::move(job));
    clock_->SetSpeed({});
    clock_->Load(int64_t{beginTime} * 1000, int64_t{endTime} * 1000,
                 int64_t{seeks ? seekTime : beginTime} * 1000, PlaybackClock::State::kRunning);
    if (!player_.Start())
        throw std::runtime_error("the recorded stream cannot be started (again)");
}

void PlaybackSource::StopPlayback(std::string /*key*/) {
    clock_->Stop();
}

std::string PlaybackSource::GetStreamUri() {
    return {};
}

void PlaybackSource::RequestStopGetPlaybackStream() {
    player_.Cancel();
}

bool PlaybackSource::GetCloseGetStreamStatus() {
    return player_.Closed();
}

int PlaybackSource::Pause(std::string /*key*/) {
    clock_->Pause();
    return 0;
}

int PlaybackSource::Resume(std::string /*key*/) {
    clock_->Resume();
    return 0;
}

int PlaybackSource::SetSpeed(std::string /*key*/, int speed) {
    const std::optional<PlaybackSpeed> wanted = PlaybackSpeed::FromCode(speed);
    if (!wanted)
        return -1;
    clock_->SetSpeed(*wanted);
    return 0;
}

int PlaybackSource::Seek(std::string /*key*/, int position) {
    clock_->Seek(int64_t{position} * 1000);
    return 0;
}

}  // namespace vms::mediafile
