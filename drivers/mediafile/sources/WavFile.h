#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "media/unit/MediaHeader.h"

namespace vms::mediafile {

/// A WAV file of G.711 sound (mono, 8 kHz) that grows; its header is right once it has been closed.
/// Thread-bound.
class WavFile {
public:
    /// Creates a file that must not exist yet. @return null when that fails
    static std::unique_ptr<WavFile> Create(const std::filesystem::path& path, AudioCodec codec);

    /// Closes.
    ~WavFile();
    WavFile(const WavFile&) = delete;
    WavFile& operator=(const WavFile&) = delete;

    /// @return false when the disk is full or the file has reached its longest (256 MiB)
    bool Append(const char* data, size_t size);

private:
    struct FileCloser {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

    WavFile(FilePtr file, AudioCodec codec) : file_(std::move(file)), codec_(codec) {}

    bool WriteHeader();

    const FilePtr file_;
    const AudioCodec codec_;
    uint32_t size_ = 0;  ///< bytes of sound
};

}  // namespace vms::mediafile
