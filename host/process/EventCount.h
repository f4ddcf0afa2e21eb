#pragma once

#include <string>

namespace vms::host {

/// A count that a thread can poll for, beside its other descriptors: readable while it is above
/// zero. Thread-safe.
class EventCount {
public:
    /// @param purpose for the error text, such as "wait for media" @throws HostError
    explicit EventCount(const std::string& purpose);
    ~EventCount();
    EventCount(const EventCount&) = delete;
    EventCount& operator=(const EventCount&) = delete;

    int Descriptor() const { return descriptor_; }

    void Raise();
    /// Takes one; nothing to do at zero.
    void Take();

private:
    const int descriptor_;
};

}  // namespace vms::host
