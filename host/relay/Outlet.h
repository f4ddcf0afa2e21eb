#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "media/unit/MediaUnit.h"
#include "module/CommandRecord.h"

namespace vms::host {

/// How a way out of a relay goes.
struct OutletCounts {
    size_t clients = 0;
    uint64_t takenUnits = 0;
};

/// One way out of a live stream: players of one kind, a recording, a snapshot. A relay shares its
/// outlets with whoever feeds clients through them.
class Outlet {
public:
    virtual ~Outlet() = default;
    Outlet(const Outlet&) = delete;
    Outlet& operator=(const Outlet&) = delete;

    /// One unit of the stream, in the order of the stream and one at a time, from the newest
    /// group's key picture on. On the stream's receive thread and under the relay's lock: must not
    /// wait, nor call the relay.
    virtual void Take(const MediaUnit& unit) = 0;

    /// A message of the source for whoever watches. As Take.
    virtual void Tell(const __tagTvCommand& message) = 0;

    /// The stream is over. Nothing is taken after that. As Take. @param reason ASCII
    virtual void End(const std::string& reason) = 0;

    /// Any thread.
    virtual OutletCounts Counts() const = 0;

protected:
    Outlet() = default;
};

}  // namespace vms::host
