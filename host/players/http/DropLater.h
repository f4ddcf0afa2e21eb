#pragma once

#include <memory>
#include <utility>

#include "host/sources/LiveStreams.h"
#include "host/stream/Lanes.h"

namespace vms::host {

/// Gives a share of a stream back on a lane: the streams' lock is not to be taken under that of a
/// relay, under which many a share is let go of. Any thread; does not wait.
inline void DropLater(Lanes& lanes, std::shared_ptr<LiveShare> share) {
    if (share != nullptr)
        std::make_shared<Lane>(lanes)->Post([share = std::move(share)] {});
}

}  // namespace vms::host
