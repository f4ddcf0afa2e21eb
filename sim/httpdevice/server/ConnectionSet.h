#pragma once

#include <map>
#include <memory>

#include "platform/Mutex.h"

namespace vms::sim::httpdevice {

/// What can be cut off from outside.
class Droppable {
public:
    virtual ~Droppable() = default;
    /// Closes the socket without a word; may be called from any thread.
    virtual void Drop() = 0;
};

/// The open connections of one device. Safe from several threads; holds none of them alive.
class ConnectionSet {
public:
    void Add(const std::shared_ptr<Droppable>& connection) VMS_EXCLUDES(mutex_);
    void Remove(const Droppable* connection) VMS_EXCLUDES(mutex_);
    void DropAll() VMS_EXCLUDES(mutex_);

private:
    Mutex mutex_;
    std::map<const Droppable*, std::weak_ptr<Droppable>> connections_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::sim::httpdevice
