#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "media/mux/ByteSink.h"

namespace vms::host {

/// The bytes of a file, or of standard output, which gets them as they come.
class FileBytes final : public ByteSink {
public:
    /// @param path of the file to write over, or kStandardOutput @throws MediaError
    explicit FileBytes(const std::string& path);

    void Write(std::string_view bytes) override;
    bool CanSeek() const override { return canSeek_; }
    void Seek(uint64_t offset) override;
    void Finish() override;

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    std::unique_ptr<std::FILE, Closer> file_;
    bool canSeek_ = false;
};

}  // namespace vms::host
