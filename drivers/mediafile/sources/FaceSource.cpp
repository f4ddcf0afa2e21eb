#include "drivers/mediafile/sources/FaceSource.h"

#include <utility>
#include <vector>

#include "media/unit/MediaHeader.h"
#include "module/LogSink.h"
#include "platform/ILogHandler.h"
#include "videodevice/IStreamCallback.h"

namespace vms::mediafile {
namespace {

constexpr int64_t kEndless = INT64_MAX / 4;
constexpr uint8_t kFacePacket = 4;

std::vector<char> MakeUnit(const FacePicture& picture, uint32_t serial, int64_t timestampMs) {
    MediaUnitHeader header;
    header.type = MediaType::kFace;
    header.frameType = kFacePacket;
    header.faceLength = static_cast<uint32_t>(picture.jpeg.size());
    header.serial = serial;
    header.timestampMs = static_cast<uint32_t>(timestampMs);
    std::vector<char> unit(kMediaHeaderSize);
    WriteMediaHeader(header, unit.data());
    unit.insert(unit.end(), picture.jpeg.begin(), picture.jpeg.end());
    return unit;
}

}  // namespace

FaceSource::FaceSource(std::shared_ptr<const RecordingIndex> index,
                       std::shared_ptr<SourceRegistry> registry)
    : index_(std::move(index)), thread_(std::move(registry), [this] { clock_.Poke(); }) {}

int FaceSource::StartFaceFrame(std::string key, int channel, IStreamCallback* sink) {
    const std::filesystem::path folder = index_->ChannelFolder(channel);
    FaceTrack track;
    if (!folder.empty())
        track = ReadFaceTrack(folder, index_->Roots());
    if (sink == nullptr || track.pictures.empty()) {
        VMS_LOG(1, "FaceSource", "no faces in %s, channel %d", index_->Root().c_str(), channel);
        return -1;
    }
    {
        MutexLock lock(mutex_);
        if (!key_.empty())
            return -1;
        key_ = key;
    }
    clock_.Load(0, kEndless, 0, PlaybackClock::State::kRunning);
    const bool started =
        thread_.Start([this, track = std::move(track), key = std::move(key),
                       sink](const std::atomic<bool>& stop) { Run(track, key, *sink, stop); });
    return started ? 0 : -1;
}

void FaceSource::StopFaceFrame(std::string /*key*/) {
    thread_.RequestStop();
}

void FaceSource::RequestStopGetPreviewStream() {
    thread_.RequestStop();
}

bool FaceSource::GetCloseGetStreamStatus() {
    return thread_.Closed();
}

std::string FaceSource::GetStreamUri() {
    MutexLock lock(mutex_);
    return key_;
}

void FaceSource::Run(const FaceTrack& track, const std::string& key, IStreamCallback& sink,
                     const std::atomic<bool>& stop) {
    const PlaybackClock::Member member(clock_);
    const uint64_t epoch = clock_.GetView().epoch;
    uint32_t serial = 0;
    for (int64_t roundMs = 0; !stop; roundMs += track.periodMs) {
        for (const FacePicture& picture : track.pictures) {
            const int64_t timestamp = roundMs + picture.offsetMs;
            if (clock_.WaitUntil(member, epoch, timestamp, false, stop) !=
                PlaybackClock::Wake::kDue)
                return;
            std::vector<char> unit = MakeUnit(picture, serial++, timestamp);
            sink.SteramCallback(key, unit.data(), static_cast<int>(unit.size()));
        }
    }
}

}  // namespace vms::mediafile
