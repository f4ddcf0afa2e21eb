#include "host/play/TalkFile.h"

extern "C" {
#include <libavcodec/packet.h>
#include <libavformat/avformat.h>
}

#include <cstdint>
#include <cstring>
#include <memory>

#include "host/text/HostError.h"
#include "media/unit/TalkHeader.h"

namespace vms::host {
namespace {

constexpr int kSampleRate = 8000;
constexpr size_t kLongest = size_t{64} << 20;

struct Closer {
    void operator()(AVFormatContext* format) const { avformat_close_input(&format); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};

[[noreturn]] void Unusable(const std::string& path) {
    throw HostError(path + " holds no G.711 sound of 8 kHz, mono; make it with: ffmpeg -i " + path +
                    " -ar 8000 -ac 1 -c:a pcm_alaw talk.wav");
}

}  // namespace

TalkFile ReadTalkFile(const std::string& path) {
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, path.c_str(), nullptr, nullptr) < 0)
        throw HostError("cannot read " + path);
    const std::unique_ptr<AVFormatContext, Closer> format(opened);
    const int track = av_find_best_stream(opened, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (track < 0)
        Unusable(path);
    const AVCodecParameters& sound = *opened->streams[track]->codecpar;
    const bool isALaw = sound.codec_id == AV_CODEC_ID_PCM_ALAW;
    if ((!isALaw && sound.codec_id != AV_CODEC_ID_PCM_MULAW) || sound.sample_rate != kSampleRate ||
        sound.ch_layout.nb_channels != 1)
        Unusable(path);
    TalkFile talk;
    talk.parameter = isALaw ? 1 : 2;
    const std::unique_ptr<AVPacket, Closer> packet(av_packet_alloc());
    while (av_read_frame(opened, packet.get()) >= 0 && talk.sound.size() < kLongest) {
        if (packet->stream_index == track)
            talk.sound.append(reinterpret_cast<const char*>(packet->data),
                              static_cast<size_t>(packet->size));
        av_packet_unref(packet.get());
    }
    return talk;
}

std::string TalkUnit(const std::string& sound) {
    std::string unit(kTalkHeaderSize, '\0');
    WriteTalkHeader(sound.size(), unit.data());
    return unit + sound;
}

}  // namespace vms::host
