#include "media/mux/ContainerOutput.h"

extern "C" {
#include <libavformat/avformat.h>
}

#include "media/MediaError.h"
#include "media/packet/LibavInput.h"

namespace vms {
namespace {

struct Dictionary {
    AVDictionary* entries = nullptr;
    Dictionary() = default;
    Dictionary(const Dictionary&) = delete;
    Dictionary& operator=(const Dictionary&) = delete;
    ~Dictionary() { av_dict_free(&entries); }
};

}  // namespace

ContainerOutput::ContainerOutput(ByteSink& bytes, const char* container) : bytes_(bytes) {
    AVFormatContext* format = nullptr;
    const int result = avformat_alloc_output_context2(&format, nullptr, container, nullptr);
    format_.reset(format);
    Check(result);
    if (!Open())
        throw MediaError("out of memory");
    if (!bytes_.CanSeek())
        format_->flags |= AVFMT_FLAG_FLUSH_PACKETS;
}

ContainerOutput::~ContainerOutput() = default;

bool ContainerOutput::Open() {
    constexpr int kBuffer = 64 << 10;
    auto* const buffer = static_cast<uint8_t*>(av_malloc(kBuffer));
    if (buffer == nullptr)
        return false;
    format_->pb =
        avio_alloc_context(buffer, kBuffer, 1, this, nullptr, &ContainerOutput::WriteBytes,
                           bytes_.CanSeek() ? &ContainerOutput::SeekBytes : nullptr);
    if (format_->pb == nullptr)
        av_free(buffer);
    return format_->pb != nullptr;
}

void ContainerOutput::FormatDeleter::operator()(AVFormatContext* format) const {
    if (format->pb != nullptr)
        av_freep(&format->pb->buffer);
    avio_context_free(&format->pb);
    avformat_free_context(format);
}

int ContainerOutput::WriteBytes(void* self, uint8_t* data, int size) {
    auto& output = *static_cast<ContainerOutput*>(self);
    try {
        output.bytes_.Write({reinterpret_cast<const char*>(data), static_cast<size_t>(size)});
        return size;
    } catch (const std::exception& error) {
        output.problem_ = error.what();
        return AVERROR_EXTERNAL;
    }
}

int64_t ContainerOutput::SeekBytes(void* self, int64_t offset, int whence) {
    auto& output = *static_cast<ContainerOutput*>(self);
    if (whence != SEEK_SET || offset < 0)
        return AVERROR(ENOSYS);
    try {
        output.bytes_.Seek(static_cast<uint64_t>(offset));
        return offset;
    } catch (const std::exception& error) {
        output.problem_ = error.what();
        return AVERROR_EXTERNAL;
    }
}

void ContainerOutput::Check(int result) const {
    if (result < 0)
        throw MediaError(problem_.empty() ? LibavError(result) : problem_);
}

AVStream& ContainerOutput::AddTrack() {
    AVStream* const track = avformat_new_stream(format_.get(), nullptr);
    if (track == nullptr)
        throw MediaError("out of memory");
    return *track;
}

void ContainerOutput::Begin(Options options) {
    Dictionary dictionary;
    for (const auto& [name, value] : options)
        av_dict_set(&dictionary.entries, name, value, 0);
    Check(avformat_write_header(format_.get(), &dictionary.entries));
}

void ContainerOutput::Write(AVPacket* packet) {
    Check(av_write_frame(format_.get(), packet));
}

void ContainerOutput::WriteInterleaved(AVPacket& packet) {
    Check(av_interleaved_write_frame(format_.get(), &packet));
}

void ContainerOutput::Flush() {
    avio_flush(format_->pb);
    Check(format_->pb->error);
}

void ContainerOutput::End() {
    const int result = av_write_trailer(format_.get());
    avio_flush(format_->pb);
    Check(result);
    Check(format_->pb->error);
}

}  // namespace vms
