#pragma once

#include <memory>

#include "media/mux/ByteSink.h"
#include "media/mux/UnitSink.h"

namespace vms {

/// The payloads of one codec's units, one behind the other.
class ElementaryStream final : public UnitSink {
public:
    ElementaryStream(std::unique_ptr<ByteSink> bytes, MediaCodec codec)
        : bytes_(std::move(bytes)), codec_(codec) {}

    void Take(const MediaUnitHeader& header, std::string_view payload) override;
    void Finish() override { bytes_->Finish(); }

private:
    const std::unique_ptr<ByteSink> bytes_;
    const MediaCodec codec_;
};

}  // namespace vms
