#pragma once

#include <string_view>

#include "media/unit/MediaHeader.h"

namespace vms {

/// Takes the media units of a stream, one after the other. Thread-bound.
class UnitSink {
public:
    virtual ~UnitSink() = default;

    /// @throws MediaError when it cannot be kept
    virtual void Take(const MediaUnitHeader& header, std::string_view payload) = 0;

    /// After the last unit. @throws MediaError when what was taken is not safely kept
    virtual void Finish() = 0;
};

}  // namespace vms
