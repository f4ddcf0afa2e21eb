#pragma once

#include <list>
#include <memory>
#include <utility>

#include "platform/Mutex.h"
#include "videodevice/core/Guarded.h"
#include "videodevice/streams/PatientWait.h"

namespace vms {

/// Holds objects that close in their own time and destroys each once it has closed. Thread-safe;
/// nothing is asked or destroyed under the lock.
template <class T>
class DeferredDestruction {
public:
    /// How a pass goes on after it has dropped an object.
    enum class AfterDrop {
        kNext,     ///< with the next object
        kRestart,  ///< from the first again, which hears its request to close once more
    };

    explicit DeferredDestruction(AfterDrop afterDrop) : afterDrop_(afterDrop) {}

    /// @param item not null
    void Add(std::shared_ptr<T> item) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        items_.push_back(std::move(item));
    }

    /// One pass: asks every object to close, and drops those that say they have and that nobody
    /// else holds. The others stay for the next pass.
    /// @param hasClosed bool(T&): asks to close and reports; may throw, which means not yet
    /// @param drop      void(std::shared_ptr<T>): lets the last reference go
    template <class HasClosed, class Drop>
    void Sweep(HasClosed&& hasClosed, Drop&& drop) VMS_EXCLUDES(mutex_) {
        Items items = TakeItems();
        for (auto item = items.begin(); item != items.end();) {
            // Looked at first: a holder may start the object and let go while it is asked. Nobody
            // can get hold of one that only this list holds.
            const bool alone = item->use_count() == 1;
            bool closed = false;
            Guarded("Sweep", [&] { closed = hasClosed(**item); });
            if (closed && alone) {
                Guarded("Sweep", [&] { drop(std::move(*item)); });
                item = items.erase(item);
                if (afterDrop_ == AfterDrop::kRestart)
                    item = items.begin();
            } else {
                ++item;
            }
        }
        MutexLock lock(mutex_);
        items_.splice(items_.begin(), items);
    }

    /// Drops everything, closed or not, for the module's end. Waits until nobody else holds an
    /// object: dropped by a receive thread on its way out of a callback, a source would have to
    /// wait for its own thread, and the module would be gone by then.
    void Clear() VMS_EXCLUDES(mutex_) {
        Items items = TakeItems();
        for (std::shared_ptr<T>& item : items) {
            if (!PatientWait([&item] { return item.use_count() == 1; }))
                VMS_LOG(3, "Retirement",
                        "a source is still held by a thread that does not come back");
            item.reset();
        }
    }

private:
    using Items = std::list<std::shared_ptr<T>>;

    Items TakeItems() VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        return std::exchange(items_, {});
    }

    const AfterDrop afterDrop_;
    Mutex mutex_;
    Items items_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms
