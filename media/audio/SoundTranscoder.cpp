#include "media/audio/SoundTranscoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <algorithm>
#include <cstring>
#include <string>

#include "media/MediaError.h"
#include "media/MediaLog.h"
#include "media/audio/Companding.h"
#include "media/packet/AdtsHeader.h"
#include "media/packet/LibavInput.h"

namespace vms {
namespace {

constexpr int kTelephone = 8000;
constexpr int kBitsPerSample = 4;  ///< of the AAC: 32 kbit/s at 8 kHz
constexpr int64_t kStray = 100;    ///< ms by which the samples may stray from the units' times

struct CodecDeleter {
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

int RateOf(const MediaUnit& unit) {
    const int rate = unit.Header().rate;
    return rate > 0 ? rate : kTelephone;
}

}  // namespace

/// libav's encoder for one rate, and the samples on their way to it.
class SoundTranscoder::Encoder {
public:
    /// @throws MediaError when there is none
    explicit Encoder(int rate) : rate_(rate), packet_(av_packet_alloc()), frame_(av_frame_alloc()) {
        const AVCodec* const codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
        codec_.reset(codec == nullptr ? nullptr : avcodec_alloc_context3(codec));
        if (codec_ == nullptr || packet_ == nullptr || frame_ == nullptr)
            throw MediaError("there is no AAC encoder");
        codec_->sample_fmt = AV_SAMPLE_FMT_FLTP;
        codec_->sample_rate = rate;
        codec_->ch_layout = AV_CHANNEL_LAYOUT_MONO;
        codec_->bit_rate = int64_t{rate} * kBitsPerSample;
        codec_->thread_count = 1;
        if (const int error = avcodec_open2(codec_.get(), codec, nullptr); error < 0)
            throw MediaError(LibavError(error));
        const auto config =
            ParseAacConfig(codec_->extradata, static_cast<size_t>(codec_->extradata_size));
        if (!config)
            throw MediaError("no ADTS for this rate");
        config_ = *config;
        frame_->nb_samples = codec_->frame_size;
        frame_->format = codec_->sample_fmt;
        frame_->sample_rate = rate;
        av_channel_layout_copy(&frame_->ch_layout, &codec_->ch_layout);
        if (const int error = av_frame_get_buffer(frame_.get(), 0); error < 0)
            throw MediaError(LibavError(error));
    }

    const AacConfig& Config() const { return config_; }

    void Take(const MediaUnit& unit, std::vector<MediaUnit>& units) {
        header_ = unit.Header();
        Align(header_.timestampMs);
        const auto& samples = ExpansionOf(unit.Header().Codec());
        for (const char code : unit.Payload()) {
            if (filled_ == 0 && av_frame_make_writable(frame_.get()) < 0)
                throw MediaError("out of memory");
            reinterpret_cast<float*>(frame_->data[0])[filled_++] =
                samples[static_cast<uint8_t>(code)];
            ++taken_;
            if (filled_ == frame_->nb_samples)
                Encode(units);
        }
    }

    void Finish(std::vector<MediaUnit>& units) {
        auto* const samples = reinterpret_cast<float*>(frame_->data[0]);
        if (filled_ > 0) {
            std::fill(samples + filled_, samples + frame_->nb_samples, 0.0F);
            taken_ += frame_->nb_samples - filled_;
            Encode(units);
        }
        if (avcodec_send_frame(codec_.get(), nullptr) >= 0)
            Receive(units);
    }

private:
    int64_t Ms(int64_t samples) const { return samples * 1000 / rate_; }

    /// Follows the units' times where the samples have strayed from them.
    void Align(uint32_t timestampMs) {
        const auto expected = static_cast<uint32_t>(begin_ + Ms(taken_));
        const int64_t stray = static_cast<int32_t>(timestampMs - expected);
        if (begun_ && stray >= -kStray && stray <= kStray)
            return;
        begun_ = true;
        begin_ = timestampMs;
        taken_ = 0;
    }

    void Encode(std::vector<MediaUnit>& units) {
        filled_ = 0;
        frame_->pts = sent_;
        sent_ += frame_->nb_samples;
        if (const int error = avcodec_send_frame(codec_.get(), frame_.get()); error < 0)
            throw MediaError(LibavError(error));
        Receive(units);
    }

    void Receive(std::vector<MediaUnit>& units) {
        while (avcodec_receive_packet(codec_.get(), packet_.get()) >= 0) {
            // The first packet is the encoder's run-up, before all samples.
            if (packet_->pts >= 0)
                units.push_back(Unit());
            av_packet_unref(packet_.get());
        }
    }

    MediaUnit Unit() const {
        const auto size = static_cast<size_t>(packet_->size);
        const int64_t behind = sent_ - packet_->pts;  // from the frame's begin to the newest sample
        MediaUnitHeader header = header_;
        const bool isNarrow = rate_ == kTelephone;
        header.codec = static_cast<uint8_t>(isNarrow ? AudioCodec::kAac8kHz : AudioCodec::kAac);
        header.rate = static_cast<uint16_t>(rate_);
        header.timestampMs = static_cast<uint32_t>(begin_ + Ms(taken_) - Ms(behind));
        std::string bytes(kMediaHeaderSize, '\0');
        WriteMediaHeader(header, bytes.data());
        const auto adts = MakeAdtsHeader(config_, size);
        bytes.append(adts.begin(), adts.end());
        bytes.append(reinterpret_cast<const char*>(packet_->data), size);
        return MediaUnit::Copy(bytes);
    }

    const int rate_;
    std::unique_ptr<AVCodecContext, CodecDeleter> codec_;
    const PacketPtr packet_;
    const std::unique_ptr<AVFrame, CodecDeleter> frame_;
    AacConfig config_;
    MediaUnitHeader header_;  ///< of the newest unit
    int filled_ = 0;          ///< samples in the frame
    int64_t sent_ = 0;        ///< samples that the encoder has been given
    bool begun_ = false;
    uint32_t begin_ = 0;  ///< ms, from which the samples are counted
    int64_t taken_ = 0;   ///< since then
};

SoundTranscoder::SoundTranscoder() = default;

SoundTranscoder::~SoundTranscoder() = default;

/// @return null when there is none
SoundTranscoder::Encoder* SoundTranscoder::EncoderFor(const MediaUnit& unit) try {
    const int rate = RateOf(unit);
    if (rate != rate_) {
        rate_ = rate;
        encoder_.reset();
        encoder_ = std::make_unique<Encoder>(rate);
    }
    return encoder_.get();
} catch (const MediaError& error) {
    VMS_MEDIA_LOG(2, "SoundTranscoder", "sound of %d samples per second is left out: %s", rate_,
                  error.what());
    return nullptr;
}

std::optional<AacConfig> SoundTranscoder::ConfigFor(const MediaUnit& unit) {
    const Encoder* const encoder = EncoderFor(unit);
    return encoder == nullptr ? std::nullopt : std::optional(encoder->Config());
}

void SoundTranscoder::Take(const MediaUnit& unit, std::vector<MediaUnit>& units) try {
    if (Encoder* const encoder = EncoderFor(unit))
        encoder->Take(unit, units);
} catch (const MediaError& error) {
    encoder_.reset();
    VMS_MEDIA_LOG(2, "SoundTranscoder", "sound breaks off: %s", error.what());
}

void SoundTranscoder::Finish(std::vector<MediaUnit>& units) try {
    if (encoder_ != nullptr)
        encoder_->Finish(units);
    encoder_.reset();
    rate_ = 0;
} catch (const MediaError& error) {
    VMS_MEDIA_LOG(2, "SoundTranscoder", "sound breaks off: %s", error.what());
}

}  // namespace vms
