#pragma once

#include <array>
#include <cstddef>
#include <mutex>

#include "platform/ThreadAnnotations.h"
#include "videodevice/streams/CacheLine.h"

namespace vms {

/// Guards a table that is read for every media unit and changed now and then. A reader takes one of
/// several inner locks, the one of its processor, so that media threads hardly wait for each other
/// or share a cache line; a writer takes them all. Not recursive, neither way.
class VMS_CAPABILITY("mutex") ReadMostlyMutex {
public:
    ReadMostlyMutex() = default;
    ReadMostlyMutex(const ReadMostlyMutex&) = delete;
    ReadMostlyMutex& operator=(const ReadMostlyMutex&) = delete;

    void Lock() VMS_ACQUIRE();
    void Unlock() VMS_RELEASE();

private:
    friend class ReadLock;

    static constexpr size_t kStripes = 16;
    struct alignas(kCacheLine) Stripe {
        std::mutex mutex;
    };

    std::mutex& OfThisProcessor();

    std::array<Stripe, kStripes> stripes_;
};

/// Reads and writes for a scope.
class VMS_SCOPED_CAPABILITY WriteLock {
public:
    explicit WriteLock(ReadMostlyMutex& mutex) VMS_ACQUIRE(mutex) : mutex_(mutex) { mutex_.Lock(); }
    ~WriteLock() VMS_RELEASE() { mutex_.Unlock(); }
    WriteLock(const WriteLock&) = delete;
    WriteLock& operator=(const WriteLock&) = delete;

private:
    ReadMostlyMutex& mutex_;
};

/// Reads for a scope.
class VMS_SCOPED_CAPABILITY ReadLock {
public:
    explicit ReadLock(ReadMostlyMutex& mutex) VMS_ACQUIRE_SHARED(mutex)
        : lock_(mutex.OfThisProcessor()) {}
    ~ReadLock() VMS_RELEASE_GENERIC() {}
    ReadLock(const ReadLock&) = delete;
    ReadLock& operator=(const ReadLock&) = delete;

private:
    const std::lock_guard<std::mutex> lock_;
};

}  // namespace vms
