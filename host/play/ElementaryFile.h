#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "host/play/UnitHeader.h"

namespace vms {

/// The payloads of one codec's units, one behind the other.
class ElementaryFile final : public UnitSink {
public:
    /// @throws HostError
    ElementaryFile(const std::string& path, UnitCodec codec);

    void Take(const UnitHeader& header, std::string_view payload) override;
    void Finish() override;

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    const std::string path_;
    const UnitCodec codec_;
    std::unique_ptr<std::FILE, Closer> file_;
};

}  // namespace vms
