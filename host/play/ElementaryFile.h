#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "host/play/UnitHeader.h"

namespace vms {

/// The payloads of one codec's units, one behind the other.
class ElementaryFile final : public UnitSink {
public:
    /// @param path of the file to write over, or kStandardOutput. @param name for messages
    /// @throws HostError
    ElementaryFile(const std::string& path, UnitCodec codec, const std::string& name);

    /// @throws HostError when the bytes are not taken
    void Take(const UnitHeader& header, std::string_view payload) override;
    void Finish() override;

private:
    [[noreturn]] void Fail() const;

    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    const std::string name_;
    const UnitCodec codec_;
    std::unique_ptr<std::FILE, Closer> file_;
};

}  // namespace vms
