#pragma once

#include <filesystem>
#include <memory>

#include "drivers/mediafile/sources/WavFile.h"
#include "media/recording/RecordingIndex.h"
#include "platform/Mutex.h"
#include "videodevice/ITalkStreamServer.h"

namespace vms::mediafile {

/// Keeps what a player says in a WAV file of its own: <device>/talk/<time>_ch<N>.wav. Thread-safe.
class TalkSink final : public ITalkStreamServer {
public:
    explicit TalkSink(std::shared_ptr<const RecordingIndex> index) : index_(std::move(index)) {}

    /// @param param audio codec of what follows: 1 (or 0) A-law, 2 mu-law
    /// @return -1 for another codec, an unknown channel, a talk that runs already, or when the file
    /// cannot be made
    int StartTalk(int channel, int param) override VMS_EXCLUDES(mutex_);
    /// Ignored when no talk runs.
    void SendTalkData(const char* data, int length) override VMS_EXCLUDES(mutex_);
    void StopTalk() override VMS_EXCLUDES(mutex_);

private:
    const std::shared_ptr<const RecordingIndex> index_;
    Mutex mutex_;
    std::unique_ptr<WavFile> file_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::mediafile
