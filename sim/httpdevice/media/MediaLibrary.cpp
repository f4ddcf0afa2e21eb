#include "sim/httpdevice/media/MediaLibrary.h"

#include <utility>

#include <gst/gst.h>

#include "sim/media/ClipStore.h"

namespace vms::sim::httpdevice {

namespace {

SharedTrack ToTrack(const std::shared_ptr<const Clip>& clip) {
    const ClipFormat format = FormatOf(clip->kind);
    Track track;
    track.codec = format.h265 ? 1 : 0;
    track.rate = static_cast<uint32_t>(format.framesPerSecond);
    track.width = static_cast<uint32_t>(format.width);
    track.height = static_cast<uint32_t>(format.height);
    track.kilobitsPerSecond = static_cast<uint32_t>(format.kilobitsPerSecond);
    track.frameMs = 1000 / format.framesPerSecond;
    // The payload pointers keep the whole clip alive.
    for (const Clip::Frame& frame : clip->frames)
        track.frames.push_back({{clip, &frame.bytes}, frame.key});
    return std::make_shared<const Track>(std::move(track));
}

}  // namespace

MediaLibrary::MediaLibrary(const std::string& cacheFolder) {
    gst_init(nullptr, nullptr);
    for (const auto& [kind, clip] : LoadClips(cacheFolder))
        video_[kind] = ToTrack(clip);
    for (const AudioCodec codec : {AudioCodec::kALaw, AudioCodec::kMuLaw, AudioCodec::kAac})
        audio_[codec] = MakeAudioTrack(codec);
}

}  // namespace vms::sim::httpdevice
