#include "drivers/mediafile/sources/SyncSession.h"

#include <optional>
#include <utility>

namespace vms::mediafile {
namespace {

constexpr int64_t Ms(int seconds) {
    return int64_t{seconds} * 1000;
}

}  // namespace

SyncSession::SyncSession(std::shared_ptr<const RecordingIndex> index,
                         std::shared_ptr<SyncSessionTable> table)
    : index_(std::move(index)), table_(std::move(table)) {}

SyncSession::~SyncSession() {
    Stop();
    Destroy();
}

int SyncSession::Create(const char* id, int beginTime, int endTime, int seekTime, int recordType,
                        int /*streamNo*/, int speed, IStreamCallback* /*sink*/) {
    const std::optional<PlaybackSpeed> wanted = PlaybackSpeed::FromCode(speed);
    if (id == nullptr || *id == '\0' || beginTime <= 0 || endTime <= beginTime || !wanted)
        return -1;
    const bool seeks = seekTime > beginTime && seekTime < endTime;
    auto group = std::make_shared<SyncGroup>(index_, recordType);
    group->Clock()->SetSpeed(*wanted);
    group->Clock()->Load(Ms(beginTime), Ms(endTime), Ms(seeks ? seekTime : beginTime),
                         PlaybackClock::State::kPaused);
    MutexLock lock(mutex_);
    if (group_ != nullptr)
        return -1;
    token_ = table_->Add(group);
    group_ = std::move(group);
    return 0;
}

int SyncSession::AddChannels(std::list<int>& channels) {
    const auto group = Group();
    return group != nullptr && group->Add(channels) ? 0 : -1;
}

int SyncSession::DelChannels(std::list<int>& channels) {
    const auto group = Group();
    if (group == nullptr)
        return -1;
    group->Remove(channels);
    return 0;
}

void SyncSession::Destroy() {
    MutexLock lock(mutex_);
    table_->Remove(token_);
    token_.clear();
}

int SyncSession::Start() {
    const auto group = Group();
    if (group == nullptr)
        return -1;
    PlaybackClock& clock = *group->Clock();
    const PlaybackClock::View view = clock.GetView();
    if (view.state == PlaybackClock::State::kStopped)
        clock.Load(view.beginMs, view.endMs, view.beginMs, PlaybackClock::State::kRunning);
    else
        clock.Resume();
    return 0;
}

int SyncSession::Stop() {
    const auto group = Group();
    if (group == nullptr)
        return -1;
    group->Clock()->Stop();
    return 0;
}

int SyncSession::Seek(int position) {
    const auto group = Group();
    if (group == nullptr)
        return -1;
    group->Clock()->Seek(Ms(position));
    return 0;
}

int SyncSession::SetSpeed(int speed) {
    const auto group = Group();
    const std::optional<PlaybackSpeed> wanted = PlaybackSpeed::FromCode(speed);
    if (group == nullptr || !wanted)
        return -1;
    group->Clock()->SetSpeed(*wanted);
    return 0;
}

int SyncSession::Pause() {
    const auto group = Group();
    if (group == nullptr)
        return -1;
    group->Clock()->Pause();
    return 0;
}

int SyncSession::Resume() {
    const auto group = Group();
    if (group == nullptr)
        return -1;
    group->Clock()->Resume();
    return 0;
}

std::string SyncSession::GetToken() {
    MutexLock lock(mutex_);
    return token_;
}

void SyncSession::RequestStopGetPlaybackStream() {
    Stop();
}

bool SyncSession::GetCloseGetStreamStatus() {
    const auto group = Group();
    return group == nullptr || group->Clock()->GetView().state == PlaybackClock::State::kStopped;
}

std::shared_ptr<SyncGroup> SyncSession::Group() {
    MutexLock lock(mutex_);
    return group_;
}

}  // namespace vms::mediafile
