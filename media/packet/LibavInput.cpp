#include "media/packet/LibavInput.h"

extern "C" {
#include <libavutil/dict.h>
#include <libavutil/error.h>
}

namespace vms {
namespace {

constexpr std::chrono::seconds kStepTimeout{10};

struct Options {
    AVDictionary* entries = nullptr;
    Options() = default;
    Options(const Options&) = delete;
    Options& operator=(const Options&) = delete;
    ~Options() { av_dict_free(&entries); }
    void Set(const char* key, const char* value) { av_dict_set(&entries, key, value, 0); }
};

}  // namespace

std::string LibavError(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return text;
}

std::unique_ptr<LibavInput> LibavInput::Open(const std::filesystem::path& file,
                                             const std::atomic<bool>* stop, std::string& error) {
    std::unique_ptr<LibavInput> input(new LibavInput(stop));
    if (!input->OpenFile(file, error) || !input->FindStreams(error))
        return nullptr;
    return input;
}

bool LibavInput::OpenFile(const std::filesystem::path& file, std::string& error) {
    Arm();
    AVFormatContext* format = avformat_alloc_context();
    if (format == nullptr) {
        error = "out of memory";
        return false;
    }
    format->interrupt_callback = {&LibavInput::Interrupted, this};
    Options options;
    // A recording must not make the reader open anything else, whatever it contains.
    options.Set("protocol_whitelist", "file");
    options.Set("format_whitelist", "mov,mp4,m4a,3gp,3g2,mj2,matroska,webm,mpegts");
    options.Set("probesize", "2000000");
    options.Set("analyzeduration", "2000000");
    const std::string url = "file:" + file.string();
    int result = avformat_open_input(&format, url.c_str(), nullptr, &options.entries);
    format_.reset(format);  // null when opening has failed
    if (result >= 0)
        result = avformat_find_stream_info(format, nullptr);
    if (result < 0)
        error = LibavError(result);
    return result >= 0;
}

bool LibavInput::FindStreams(std::string& error) {
    video_ = av_find_best_stream(format_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (video_ < 0) {
        error = "no video stream";
        return false;
    }
    audio_ = av_find_best_stream(format_.get(), AVMEDIA_TYPE_AUDIO, -1, video_, nullptr, 0);
    for (unsigned i = 0; i < format_->nb_streams; ++i) {
        const int index = static_cast<int>(i);
        if (index != video_ && index != audio_)
            format_->streams[i]->discard = AVDISCARD_ALL;
    }
    return true;
}

int LibavInput::Read(AVPacket& packet) {
    Arm();
    av_packet_unref(&packet);
    return av_read_frame(format_.get(), &packet);
}

bool LibavInput::Seek(int64_t streamTime) {
    Arm();
    return av_seek_frame(format_.get(), video_, streamTime, AVSEEK_FLAG_BACKWARD) >= 0;
}

int64_t LibavInput::DurationMs() const {
    const int64_t duration = format_->duration;
    return duration == AV_NOPTS_VALUE || duration < 0 ? 0 : duration / (AV_TIME_BASE / 1000);
}

void LibavInput::Arm() {
    deadline_ = std::chrono::steady_clock::now() + kStepTimeout;
}

int LibavInput::Interrupted(void* self) {
    const auto* input = static_cast<LibavInput*>(self);
    const bool stopped = input->stop_ != nullptr && input->stop_->load(std::memory_order_relaxed);
    return stopped || std::chrono::steady_clock::now() > input->deadline_ ? 1 : 0;
}

}  // namespace vms
