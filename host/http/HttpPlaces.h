#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>

#include "platform/Mutex.h"

namespace vms::host {

/// The places for connections of a server, and who goes when there are none. Thread-safe.
class HttpPlaces : public std::enable_shared_from_this<HttpPlaces> {
public:
    /// What a newcomer gets.
    enum class Entry {
        kServed,
        kRefused,     ///< a place of the few that are kept for saying so
        kTurnedAway,  ///< none: the server ends, or even those few are taken
    };

    /// One connection's place; given back when it is destroyed, which may be long after it was
    /// left.
    class Place;

    explicit HttpPlaces(size_t most) : most_(most) {}

    /// @param close ends the newcomer, should it have to go; called on any thread, with no lock
    /// held
    std::shared_ptr<Place> Enter(std::function<void()> close, Entry& entry) VMS_EXCLUDES(mutex_);

    /// The place may be taken from now on; again and again: as if it had been idle just now.
    void SetIdle(Place& place) VMS_EXCLUDES(mutex_);
    void SetBusy(Place& place) VMS_EXCLUDES(mutex_);
    /// The server has nothing more to do with who sits there. Once or more often.
    void Leave(Place& place) VMS_EXCLUDES(mutex_);

    /// Lets nobody in any more, and closes all that have not left.
    void Close() VMS_EXCLUDES(mutex_);
    /// Returns once they have.
    void WaitUntilClosed() VMS_EXCLUDES(mutex_);

    size_t Taken() const VMS_EXCLUDES(mutex_);

private:
    /// Connections beyond the bound that are told so at a time.
    static constexpr size_t kRefusals = 64;

    Entry Admit(std::function<void()>& closeOther) VMS_REQUIRES(mutex_);
    void GiveBack(Place& place) VMS_EXCLUDES(mutex_);
    void Forget(Place& place) VMS_REQUIRES(mutex_);

    const size_t most_;
    mutable Mutex mutex_;
    CondVar left_;
    bool closed_ VMS_GUARDED_BY(mutex_) = false;
    size_t taken_ VMS_GUARDED_BY(mutex_) = 0;
    size_t refused_ VMS_GUARDED_BY(mutex_) = 0;
    uint64_t turns_ VMS_GUARDED_BY(mutex_) = 0;
    std::set<Place*> served_ VMS_GUARDED_BY(mutex_);          ///< all that have not left
    std::map<uint64_t, Place*> idle_ VMS_GUARDED_BY(mutex_);  ///< longest idle first
};

class HttpPlaces::Place {
public:
    Place(std::shared_ptr<HttpPlaces> places, std::function<void()> close, bool isRefusal)
        : places_(std::move(places)), close_(std::move(close)), isRefusal_(isRefusal) {}
    ~Place() { places_->GiveBack(*this); }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

private:
    friend class HttpPlaces;

    const std::shared_ptr<HttpPlaces> places_;
    const std::function<void()> close_;
    const bool isRefusal_;
    // Under the lock of the places:
    uint64_t idleTurn_ = 0;  ///< 0 = busy
    bool isLost_ = false;    ///< another one has the place
};

}  // namespace vms::host
