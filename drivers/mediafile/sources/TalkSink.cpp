#include "drivers/mediafile/sources/TalkSink.h"

#include <chrono>
#include <string>

#include "media/recording/RecordingName.h"
#include "module/LogSink.h"
#include "platform/ILogHandler.h"

namespace fs = std::filesystem;

namespace vms::mediafile {
namespace {

constexpr int kMaxTalksPerSecond = 64;

std::string BaseName(int channel) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return TimeText(std::chrono::duration_cast<std::chrono::milliseconds>(now).count()) + "_ch" +
           std::to_string(channel);
}

/// Talks that begin in the same second get a number each.
std::unique_ptr<WavFile> CreateFile(const fs::path& folder, int channel, AudioCodec codec) {
    std::error_code error;
    fs::create_directory(folder, error);
    const std::string base = BaseName(channel);
    for (int i = 0; i < kMaxTalksPerSecond; ++i) {
        const std::string suffix = i == 0 ? "" : "_" + std::to_string(i);
        if (auto file = WavFile::Create(folder / (base + suffix + ".wav"), codec))
            return file;
    }
    return nullptr;
}

}  // namespace

int TalkSink::StartTalk(int channel, int param) {
    if (param < 0 || param > static_cast<int>(AudioCodec::kMuLaw) || !index_->HasChannel(channel))
        return -1;
    const AudioCodec codec =
        param == static_cast<int>(AudioCodec::kMuLaw) ? AudioCodec::kMuLaw : AudioCodec::kALaw;
    MutexLock lock(mutex_);
    if (file_ != nullptr)
        return -1;
    const fs::path folder = index_->Root() / "talk";
    if (index_->Roots().Admit(folder))
        file_ = CreateFile(folder, channel, codec);
    if (file_ == nullptr) {
        VMS_LOG(2, "TalkSink", "cannot write to %s/talk", index_->Root().c_str());
        return -1;
    }
    return 0;
}

void TalkSink::SendTalkData(const char* data, int length) {
    if (data == nullptr || length <= 0)
        return;
    MutexLock lock(mutex_);
    if (file_ == nullptr || file_->Append(data, static_cast<size_t>(length)))
        return;
    VMS_LOG(2, "TalkSink", "talk ends early: disk full or too long");
    file_.reset();
}

void TalkSink::StopTalk() {
    MutexLock lock(mutex_);
    file_.reset();
}

}  // namespace vms::mediafile
