#pragma once

#include <memory>
#include <vector>

#include "videodevice/streams/CacheLine.h"

namespace vms {

/// Connections attached to a stream, in order of attachment; may hold the same one twice.
///
/// Copy on write: changes make a new array, so that the media path takes a reference instead of a
/// copy and sends without a lock. Thread-bound (the stream's table lock); snapshots are immutable.
class ClientList {
public:
    /// Media threads read it all the time: what others write must not be near.
    using Ids = std::vector<long long, CacheLineAllocator<long long>>;
    /// Null when nobody is attached.
    using Snapshot = std::shared_ptr<const Ids>;

    const Snapshot& Get() const { return ids_; }
    bool Empty() const { return ids_ == nullptr; }
    /// The first connection; only when not empty.
    long long Front() const { return ids_->front(); }

    void Append(long long connectionId);
    /// Removes every occurrence. @return whether there was one
    bool Remove(long long connectionId);
    /// Makes this connection the only one.
    void Assign(long long connectionId);

private:
    Snapshot ids_;
};

}  // namespace vms
