#include "sim/httpdevice/media/AudioTracks.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "sim/httpdevice/media/AacEncoder.h"

namespace vms::sim::httpdevice {

namespace {

constexpr int kSeconds = 4;
constexpr int kG711FrameMs = 40;

// One turn of the pitch takes the whole loop, so that its end meets its beginning.
std::vector<float> Tone(int rate, size_t samples) {
    std::vector<float> tone(samples);
    double phase = 0;
    for (size_t i = 0; i < samples; ++i) {
        const double turn = 2 * std::numbers::pi * static_cast<double>(i) / samples;
        phase += 2 * std::numbers::pi * (600 + 200 * std::sin(turn)) / rate;
        tone[i] = static_cast<float>(0.3 * std::sin(phase));
    }
    return tone;
}

Track G711Track(AudioCodec codec) {
    const int rate = SampleRate(codec);
    const auto tone = Tone(rate, static_cast<size_t>(rate) * kSeconds);
    const size_t perFrame = static_cast<size_t>(rate) * kG711FrameMs / 1000;
    Track track;
    track.frameMs = kG711FrameMs;
    for (size_t at = 0; at < tone.size(); at += perFrame) {
        auto bytes = std::make_shared<std::string>();
        for (size_t i = at; i < at + perFrame; ++i) {
            const int sample = static_cast<int>(tone[i] * 32767);
            *bytes +=
                static_cast<char>(codec == AudioCodec::kALaw ? ToALaw(sample) : ToMuLaw(sample));
        }
        track.frames.push_back({std::move(bytes), true});
    }
    return track;
}

Track AacTrack() {
    const int rate = SampleRate(AudioCodec::kAac);
    const size_t frames = static_cast<size_t>(rate) * kSeconds / kAacFrameSamples;
    Track track;
    track.frameMs = kAacFrameSamples * 1000 / rate;
    for (std::string& unit : EncodeAdts(Tone(rate, frames * kAacFrameSamples), rate))
        track.frames.push_back({std::make_shared<const std::string>(std::move(unit)), true});
    return track;
}

}  // namespace

const char* NameOf(AudioCodec codec) {
    if (codec == AudioCodec::kAac)
        return "AAC";
    return codec == AudioCodec::kALaw ? "PCMA" : "PCMU";
}

int TalkCode(AudioCodec codec) {
    if (codec == AudioCodec::kAac)
        return 0x15;
    return codec == AudioCodec::kALaw ? 1 : 2;
}

std::optional<AudioCodec> FromTalkCode(int code) {
    for (const AudioCodec codec : {AudioCodec::kALaw, AudioCodec::kMuLaw, AudioCodec::kAac}) {
        if (TalkCode(codec) == code)
            return codec;
    }
    return std::nullopt;
}

int SampleRate(AudioCodec codec) {
    return codec == AudioCodec::kAac ? 16'000 : 8'000;
}

SharedTrack MakeAudioTrack(AudioCodec codec) {
    Track track = codec == AudioCodec::kAac ? AacTrack() : G711Track(codec);
    track.kind = FrameHeader::Kind::kAudio;
    track.codec = static_cast<uint8_t>(codec);
    track.rate = static_cast<uint32_t>(SampleRate(codec));
    return std::make_shared<const Track>(std::move(track));
}

unsigned char ToALaw(int sample) {
    const int sign = sample >= 0 ? 0x80 : 0;
    const int magnitude = std::min(sample >= 0 ? sample : -sample - 1, 32'767) >> 3;
    int segment = 0;
    while (segment < 7 && magnitude >> (segment + 5) != 0)
        ++segment;
    const int step = segment < 2 ? magnitude >> 1 : magnitude >> segment;
    return static_cast<unsigned char>((sign | segment << 4 | (step & 0x0f)) ^ 0x55);
}

unsigned char ToMuLaw(int sample) {
    constexpr int kBias = 33;
    const int value = sample >> 2;  // fourteen bits
    const int magnitude = std::min(std::abs(value), 8158) + kBias;
    int segment = 7;
    while (segment > 0 && (magnitude & (1 << (segment + 5))) == 0)
        --segment;
    const int step = magnitude >> (segment + 1) & 0x0f;
    return static_cast<unsigned char>(~((value < 0 ? 0x80 : 0) | segment << 4 | step));
}

}  // namespace vms::sim::httpdevice
