#include "videodevice/streams/ReadMostlyMutex.h"

#include <sched.h>

namespace vms {

void ReadMostlyMutex::Lock() VMS_NO_THREAD_SAFETY_ANALYSIS {
    for (Stripe& stripe : stripes_)
        stripe.mutex.lock();
}

void ReadMostlyMutex::Unlock() VMS_NO_THREAD_SAFETY_ANALYSIS {
    for (Stripe& stripe : stripes_)
        stripe.mutex.unlock();
}

/// Threads that run at the same time run on different processors.
std::mutex& ReadMostlyMutex::OfThisProcessor() {
    return stripes_[static_cast<unsigned>(sched_getcpu()) % kStripes].mutex;
}

}  // namespace vms
