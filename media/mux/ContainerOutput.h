#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

#include "media/mux/ByteSink.h"

struct AVCodecParameters;
struct AVFormatContext;
struct AVPacket;
struct AVStream;

namespace vms {

/// A container that libav writes, with its bytes on their way to a sink. Thread-bound.
class ContainerOutput {
public:
    using Options = std::initializer_list<std::pair<const char*, const char*>>;

    /// @param bytes must outlive this object
    /// @param container libav's name of it
    /// @throws MediaError, as all of this class
    ContainerOutput(ByteSink& bytes, const char* container);
    ~ContainerOutput();
    ContainerOutput(const ContainerOutput&) = delete;
    ContainerOutput& operator=(const ContainerOutput&) = delete;

    /// For what the calls below leave out; stays owned by this object.
    AVFormatContext& Format() { return *format_; }

    /// Adds a track, before Begin. The track stays owned by this object.
    AVStream& AddTrack();

    /// Writes the head.
    void Begin(Options options = {});

    /// Writes a packet, in the order of the calls. @param packet null = what libav has held back
    void Write(AVPacket* packet);

    /// The same, but libav puts the tracks' packets into the order of their times.
    void WriteInterleaved(AVPacket& packet);

    /// Hands everything written so far to the sink.
    void Flush();

    /// Writes the end.
    void End();

private:
    struct FormatDeleter {
        void operator()(AVFormatContext* format) const;
    };

    static int WriteBytes(void* self, uint8_t* data, int size);
    static int64_t SeekBytes(void* self, int64_t offset, int whence);

    bool Open();
    void Check(int result) const;

    ByteSink& bytes_;
    std::string problem_;  ///< what the sink has said, "" = nothing
    std::unique_ptr<AVFormatContext, FormatDeleter> format_;
};

}  // namespace vms
