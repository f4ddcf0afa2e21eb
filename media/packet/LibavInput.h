#pragma once

extern "C" {
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
}

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

namespace vms {

struct LibavDeleter {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVBSFContext* context) const { av_bsf_free(&context); }
};
using FormatPtr = std::unique_ptr<AVFormatContext, LibavDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, LibavDeleter>;
using BsfPtr = std::unique_ptr<AVBSFContext, LibavDeleter>;

/// Text of a libav error.
std::string LibavError(int code);

/// A media file opened for reading: the known containers only, local files only, and every step
/// ends after ten seconds or when asked to. Thread-bound.
class LibavInput {
public:
    /// @param stop  ends running steps when it becomes true; must outlive the input; may be null
    /// @param error told why there is no input
    /// @return null for what is no readable medium with a video stream
    static std::unique_ptr<LibavInput> Open(const std::filesystem::path& file,
                                            const std::atomic<bool>* stop, std::string& error);

    LibavInput(const LibavInput&) = delete;
    LibavInput& operator=(const LibavInput&) = delete;

    /// The next packet of any stream, unreferenced first. @return 0, or libav's error
    int Read(AVPacket& packet);

    /// Goes to about the last key picture at or before a time of the video stream's own base.
    bool Seek(int64_t streamTime);

    const AVStream& Video() const { return *format_->streams[video_]; }
    /// Null when there is no sound.
    const AVStream* Audio() const { return audio_ < 0 ? nullptr : format_->streams[audio_]; }
    /// ms; 0 when the file does not tell.
    int64_t DurationMs() const;

private:
    explicit LibavInput(const std::atomic<bool>* stop) : stop_(stop) {}

    bool OpenFile(const std::filesystem::path& file, std::string& error);
    bool FindStreams(std::string& error);
    void Arm();
    static int Interrupted(void* self);

    const std::atomic<bool>* const stop_;
    std::chrono::steady_clock::time_point deadline_;
    FormatPtr format_;
    int video_ = -1;
    int audio_ = -1;
};

}  // namespace vms
