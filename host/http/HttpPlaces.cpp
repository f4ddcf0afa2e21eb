#include "host/http/HttpPlaces.h"

#include <utility>
#include <vector>

namespace vms::host {

std::shared_ptr<HttpPlaces::Place> HttpPlaces::Enter(std::function<void()> close, Entry& entry) {
    std::function<void()> closeOther;
    std::shared_ptr<Place> place;
    {
        MutexLock lock(mutex_);
        entry = Admit(closeOther);
        if (entry == Entry::kTurnedAway)
            return nullptr;
        const bool isRefusal = entry == Entry::kRefused;
        place = std::make_shared<Place>(shared_from_this(), std::move(close), isRefusal);
        served_.insert(place.get());
        ++(isRefusal ? refused_ : taken_);
    }
    if (closeOther)
        closeOther();
    return place;
}

/// @param closeOther set to what makes room, if something must
HttpPlaces::Entry HttpPlaces::Admit(std::function<void()>& closeOther) {
    if (closed_)
        return Entry::kTurnedAway;
    if (taken_ < most_)
        return Entry::kServed;
    if (idle_.empty())
        return refused_ < kRefusals ? Entry::kRefused : Entry::kTurnedAway;
    Place& other = *idle_.begin()->second;
    idle_.erase(idle_.begin());
    other.idleTurn_ = 0;
    other.isLost_ = true;
    --taken_;
    closeOther = other.close_;
    return Entry::kServed;
}

void HttpPlaces::SetIdle(Place& place) {
    MutexLock lock(mutex_);
    if (place.isRefusal_ || place.isLost_)
        return;
    idle_.erase(place.idleTurn_);
    place.idleTurn_ = ++turns_;
    idle_[place.idleTurn_] = &place;
}

void HttpPlaces::SetBusy(Place& place) {
    MutexLock lock(mutex_);
    idle_.erase(std::exchange(place.idleTurn_, 0));
}

void HttpPlaces::Forget(Place& place) {
    idle_.erase(std::exchange(place.idleTurn_, 0));
    served_.erase(&place);
    if (closed_ && served_.empty())
        left_.NotifyAll();
}

void HttpPlaces::Leave(Place& place) {
    MutexLock lock(mutex_);
    Forget(place);
}

void HttpPlaces::GiveBack(Place& place) {
    MutexLock lock(mutex_);
    if (!place.isLost_)
        --(place.isRefusal_ ? refused_ : taken_);
    Forget(place);
}

void HttpPlaces::Close() {
    std::vector<std::function<void()>> closings;
    {
        MutexLock lock(mutex_);
        closed_ = true;
        for (const Place* place : served_)
            closings.push_back(place->close_);
    }
    for (const auto& close : closings)
        close();
}

void HttpPlaces::WaitUntilClosed() {
    MutexLock lock(mutex_);
    while (!served_.empty())
        left_.Wait(mutex_);
}

size_t HttpPlaces::Taken() const {
    MutexLock lock(mutex_);
    return taken_ + refused_;
}

}  // namespace vms::host
