#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "host/stream/Receiver.h"
#include "platform/Mutex.h"

namespace vms::host {

/// The receivers by their numbers. Thread-safe.
class ReceiverTable {
public:
    /// A number that no other receiver has had, from 1 up.
    long long NextNumber() { return ++lastNumber_; }

    void Add(std::shared_ptr<Receiver> receiver) VMS_EXCLUDES(mutex_);
    void Remove(long long number) VMS_EXCLUDES(mutex_);

    /// @return null when there is no such receiver
    std::shared_ptr<Receiver> Find(long long number) const VMS_EXCLUDES(mutex_);

private:
    struct Entry {
        long long number;
        std::shared_ptr<Receiver> receiver;
    };

    std::vector<Entry>::const_iterator Place(long long number) const VMS_REQUIRES(mutex_);

    std::atomic<long long> lastNumber_{0};
    mutable Mutex mutex_;
    /// In the order of their numbers: looked up once per unit, so kept dense.
    std::vector<Entry> entries_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::host
