#include "host/http/Grant.h"

#include <algorithm>
#include <utility>

namespace vms::host {

void Grant::OnEnd(std::weak_ptr<const void> owner, std::function<void()> end) {
    {
        MutexLock lock(mutex_);
        if (!ended_) {
            if (waiting_.size() >= pruneAt_) {
                std::erase_if(waiting_, [](const Waiting& one) { return one.owner.expired(); });
                pruneAt_ = std::max<size_t>(16, 2 * waiting_.size());
            }
            waiting_.push_back({std::move(owner), std::move(end)});
            return;
        }
    }
    if (const auto alive = owner.lock())
        end();
}

void Grant::End() {
    std::vector<Waiting> waiting;
    {
        MutexLock lock(mutex_);
        ended_ = true;
        waiting.swap(waiting_);
    }
    for (const Waiting& one : waiting) {
        if (const auto alive = one.owner.lock())
            one.end();
    }
}

bool Grant::HasEnded() const {
    MutexLock lock(mutex_);
    return ended_;
}

}  // namespace vms::host
