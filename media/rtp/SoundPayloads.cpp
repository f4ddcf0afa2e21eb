#include "media/rtp/SoundPayloads.h"

#include <algorithm>
#include <array>

#include "media/MediaError.h"
#include "media/mux/TrackParameters.h"
#include "media/rtp/RtpMuxer.h"

// One access unit, or a piece of one (RFC 3640, 3.2.1), bits from the most significant:
//
//    16 bits of headers that follow (16)
//    13 bytes of the whole access unit | 3 index (0)

namespace vms {
namespace {

constexpr int kPayloadType = 97;  ///< pictures have libav's choice, 96
constexpr int kTelephone = 8000;  ///< samples per second of the types with numbers of their own
constexpr uint32_t kAacSamples = 1024;
constexpr size_t kAacHeader = 4;
constexpr size_t kLongestAac = 8191;

}  // namespace

G711Payloads::G711Payloads(const MediaUnit& first) {
    RtpMuxer muxer;
    DescribeSound(muxer.Track(), first.Header());
    rate_ = muxer.Track().codecpar->sample_rate;
    description_ = muxer.Description(rate_ == kTelephone ? 0 : kPayloadType);
}

uint32_t G711Payloads::Split(const MediaUnit& unit, RtpPayloadSink& sink) {
    const std::string_view samples = unit.Payload();
    for (size_t at = 0; at < samples.size(); at += kMostBytes)
        sink.Take(samples.substr(at, kMostBytes), false, static_cast<uint32_t>(at));
    return static_cast<uint32_t>(samples.size());
}

AacPayloads::AacPayloads(const MediaUnit& first) {
    const auto frame = ParseAdtsFrame(first.Payload());
    if (!frame)
        throw MediaError("AAC without an ADTS header");
    config_ = frame->config;
    rate_ = SampleRate(config_);
    RtpMuxer muxer;
    DescribeAac(muxer.Track(), config_);
    description_ = muxer.Description(kPayloadType);
}

uint32_t AacPayloads::Split(const MediaUnit& unit, RtpPayloadSink& sink) {
    std::string_view rest = unit.Payload();
    uint32_t ticks = 0;
    for (auto frame = ParseAdtsFrame(rest); frame && frame->config == config_;
         frame = ParseAdtsFrame(rest)) {
        std::string_view access =
            rest.substr(0, frame->size).substr(frame->headerSize, kLongestAac);
        const auto byte = [](size_t value) { return static_cast<char>(value); };
        const std::array<char, kAacHeader> header{0, 16, byte(access.size() >> 5),
                                                  byte((access.size() & 0x1f) << 3)};
        while (!access.empty()) {
            std::string payload(header.data(), header.size());
            payload += access.substr(0, kMostBytes - kAacHeader);
            access.remove_prefix(payload.size() - kAacHeader);
            sink.Take(payload, access.empty(), ticks);
        }
        ticks += kAacSamples;
        rest.remove_prefix(frame->size);
    }
    return ticks;
}

}  // namespace vms
