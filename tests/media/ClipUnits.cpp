#include "tests/media/ClipUnits.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "media/packet/AudioPacketizer.h"
#include "media/packet/LibavInput.h"
#include "media/packet/VideoPacketizer.h"
#include "tests/support/ChildProcess.h"

namespace vms::test {

ClipFolder::ClipFolder() {
    std::string name = std::filesystem::temp_directory_path() / "clipsXXXXXX";
    if (mkdtemp(name.data()) == nullptr)
        throw std::runtime_error("no folder for clips");
    path_ = name;
}

ClipFolder::~ClipFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path ClipFolder::Make(const std::string& name, double seconds,
                                       const std::string& size,
                                       const std::vector<std::string>& video,
                                       const std::vector<std::string>& audio) const {
    const std::filesystem::path clip = path_ / name;
    const std::string length = std::to_string(seconds);
    std::vector<std::string> command{
        "ffmpeg", "-nostdin", "-v",
        "error",  "-y",       "-f",
        "lavfi",  "-i",       "testsrc2=rate=25:size=" + size + ":duration=" + length};
    if (!audio.empty())
        command.insert(command.end(), {"-f", "lavfi", "-i",
                                       "sine=frequency=440:sample_rate=16000:duration=" + length});
    command.insert(command.end(), {"-pix_fmt", "yuv420p"});
    command.insert(command.end(), video.begin(), video.end());
    command.insert(command.end(), audio.begin(), audio.end());
    command.push_back(clip);
    if (Run(command) != 0)
        throw std::runtime_error("ffmpeg has not made " + name);
    return clip;
}

std::vector<std::string> H264() {
    return {"-c:v", "libx264", "-preset", "ultrafast",   "-tune", "zerolatency",   "-bf",
            "0",    "-g",      "25",      "-keyint_min", "25",    "-sc_threshold", "0"};
}

std::vector<std::string> H265() {
    return {
        "-c:v",         "libx265",
        "-preset",      "ultrafast",
        "-x265-params", "log-level=error:keyint=25:min-keyint=25:scenecut=0:bframes=0:open-gop=0"};
}

std::vector<std::string> Aac() {
    return {"-c:a", "aac", "-b:a", "48k", "-ar", "16000", "-ac", "1"};
}

std::vector<std::string> ALaw() {
    return {"-af", "asetnsamples=320", "-c:a", "pcm_alaw", "-ar", "8000", "-ac", "1"};
}

std::vector<MediaUnit> UnitsOf(const std::filesystem::path& clip) {
    std::string error;
    const auto input = LibavInput::Open(clip, nullptr, error);
    if (input == nullptr)
        throw std::runtime_error(error);
    const auto video = VideoPacketizer::Create(input->Video());
    const auto audio =
        input->Audio() == nullptr ? nullptr : AudioPacketizer::Create(*input->Audio());
    const PacketPtr packet(av_packet_alloc());
    std::vector<MediaUnit> units;
    while (input->Read(*packet) >= 0) {
        const bool isVideo = packet->stream_index == input->Video().index;
        const AVRational base = isVideo ? input->Video().time_base : input->Audio()->time_base;
        const int64_t time = av_rescale_q(packet->dts, base, {1, 1000});
        MediaPacket media;
        if (!(isVideo ? video->Convert(*packet, media) : audio->Convert(*packet, media)))
            continue;
        media.header.serial = static_cast<uint32_t>(units.size());
        media.header.timestampMs = static_cast<uint32_t>(time < 0 ? 0 : time);
        WriteMediaHeader(media.header, media.unit.data());
        units.push_back(MediaUnit::Copy({media.unit.data(), media.unit.size()}));
    }
    return units;
}

MediaUnit At(const MediaUnit& unit, uint32_t timestampMs) {
    std::string bytes(unit.Bytes());
    MediaUnitHeader header = unit.Header();
    header.timestampMs = timestampMs;
    WriteMediaHeader(header, bytes.data());
    return MediaUnit::Copy(bytes);
}

std::vector<double> FoundMedia::Times(bool ofVideo) const {
    std::vector<double> times;
    for (const FoundPacket& packet : packets) {
        if (packet.isVideo == ofVideo)
            times.push_back(packet.time);
    }
    return times;
}

FoundMedia ReadBack(const std::string& bytes, const std::filesystem::path& file) {
    std::ofstream(file, std::ios::binary) << bytes;
    std::string error;
    const auto input = LibavInput::Open(file, nullptr, error);
    if (input == nullptr)
        throw std::runtime_error(error);
    FoundMedia media;
    media.video = avcodec_get_name(input->Video().codecpar->codec_id);
    if (input->Audio() != nullptr)
        media.audio = avcodec_get_name(input->Audio()->codecpar->codec_id);
    const PacketPtr packet(av_packet_alloc());
    while (input->Read(*packet) >= 0) {
        const bool isVideo = packet->stream_index == input->Video().index;
        const AVRational base = isVideo ? input->Video().time_base : input->Audio()->time_base;
        media.packets.push_back({isVideo, (packet->flags & AV_PKT_FLAG_KEY) != 0,
                                 static_cast<double>(packet->pts) * av_q2d(base),
                                 static_cast<size_t>(packet->size)});
    }
    return media;
}

std::string Complaints(const std::filesystem::path& file) {
    const std::string command =
        "ffmpeg -nostdin -v warning -i '" + file.string() + "' -f null - 2>&1";
    FILE* const output = popen(command.c_str(), "r");
    if (output == nullptr)
        return "ffmpeg does not start";
    std::string said;
    char part[256];
    while (std::fgets(part, sizeof part, output) != nullptr)
        said += part;
    return pclose(output) == 0 ? said : said + " (failed)";
}

}  // namespace vms::test
