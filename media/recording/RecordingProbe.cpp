#include "media/recording/RecordingProbe.h"

#include <algorithm>
#include <chrono>
#include <string>

extern "C" {
#include <libavutil/mathematics.h>
}

#include "media/MediaLog.h"
#include "media/packet/LibavInput.h"
#include "media/packet/VideoPacketizer.h"
#include "media/recording/Recording.h"

namespace vms {
namespace {

constexpr std::chrono::seconds kScanTimeout{10};

/// Time between the first and the last picture, for a file whose header does not tell, such as one
/// that is still being written.
int64_t ScanDuration(LibavInput& input) {
    const PacketPtr packet(av_packet_alloc());
    const auto deadline = std::chrono::steady_clock::now() + kScanTimeout;
    int64_t first = AV_NOPTS_VALUE;
    int64_t last = AV_NOPTS_VALUE;
    while (packet != nullptr && input.Read(*packet) >= 0 &&
           std::chrono::steady_clock::now() < deadline) {
        if (packet->stream_index != input.Video().index || packet->pts == AV_NOPTS_VALUE)
            continue;
        first = first == AV_NOPTS_VALUE ? packet->pts : std::min(first, packet->pts);
        last = std::max(last, packet->pts);
    }
    if (first == AV_NOPTS_VALUE)
        return 0;
    return av_rescale_q(last - first, input.Video().time_base, AVRational{1, 1000});
}

}  // namespace

std::optional<int64_t> ProbeDuration(const std::filesystem::path& file,
                                     const std::atomic<bool>& stop) {
    std::string error;
    const auto input = LibavInput::Open(file, &stop, error);
    if (input != nullptr && VideoPacketizer::Create(input->Video()) == nullptr)
        error = "unsupported video codec";
    if (!error.empty() || input == nullptr) {
        if (!stop)
            VMS_MEDIA_LOG(2, "RecordingProbe", "skip %s: %s", file.c_str(), error.c_str());
        return std::nullopt;
    }
    const int64_t told = input->DurationMs();
    const int64_t duration = told > 0 ? told : ScanDuration(*input);
    return std::clamp<int64_t>(duration, 1, kMaxRecordingMs);
}

}  // namespace vms
