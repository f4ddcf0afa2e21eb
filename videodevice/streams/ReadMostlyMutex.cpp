#include "videodevice/streams/ReadMostlyMutex.h"

#include <atomic>

namespace vms {

void ReadMostlyMutex::Lock() VMS_NO_THREAD_SAFETY_ANALYSIS {
    for (Stripe& stripe : stripes_)
        stripe.mutex.lock();
}

void ReadMostlyMutex::Unlock() VMS_NO_THREAD_SAFETY_ANALYSIS {
    for (Stripe& stripe : stripes_)
        stripe.mutex.unlock();
}

std::mutex& ReadMostlyMutex::OfThisThread() {
    static std::atomic<size_t> threads{0};
    static thread_local const size_t mine = threads.fetch_add(1, std::memory_order_relaxed);
    return stripes_[mine % kStripes].mutex;
}

}  // namespace vms
