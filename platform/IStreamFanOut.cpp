#include <map>

#include "platform/IStreamFanOut.h"
#include "platform/Mutex.h"

namespace vms {
namespace {

/// Beside the controller's interface, whose slots are fixed, and without asking for its type, which
/// a host may have been built without.
struct Offers {
    Mutex mutex;
    std::map<const IStreamConnectionController*, IStreamFanOut*> fanOuts VMS_GUARDED_BY(mutex);
};

Offers& TheOffers() {
    static Offers offers;
    return offers;
}

}  // namespace

void OfferFanOut(const IStreamConnectionController* controller, IStreamFanOut* fanOut) {
    Offers& offers = TheOffers();
    MutexLock lock(offers.mutex);
    if (fanOut == nullptr)
        offers.fanOuts.erase(controller);
    else
        offers.fanOuts[controller] = fanOut;
}

IStreamFanOut* FanOutOf(const IStreamConnectionController* controller) {
    Offers& offers = TheOffers();
    MutexLock lock(offers.mutex);
    const auto offer = offers.fanOuts.find(controller);
    return offer == offers.fanOuts.end() ? nullptr : offer->second;
}

}  // namespace vms
