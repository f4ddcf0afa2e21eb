#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "platform/Mutex.h"

namespace vms::host {

/// The right under which somebody has been let in: a session, a token, a user. It may be taken back
/// while streams run on it, and they hear of that. Thread-safe.
class Grant {
public:
    Grant() = default;
    Grant(const Grant&) = delete;
    Grant& operator=(const Grant&) = delete;

    /// Has a function called, while its owner lives, once the right is taken back; here at once if
    /// it has been. On any thread; must not wait, nor throw.
    void OnEnd(std::weak_ptr<const void> owner, std::function<void()> end) VMS_EXCLUDES(mutex_);

    /// Takes the right back.
    void End() VMS_EXCLUDES(mutex_);

    bool HasEnded() const VMS_EXCLUDES(mutex_);

private:
    struct Waiting {
        std::weak_ptr<const void> owner;
        std::function<void()> end;
    };

    mutable Mutex mutex_;
    bool ended_ VMS_GUARDED_BY(mutex_) = false;
    std::vector<Waiting> waiting_ VMS_GUARDED_BY(mutex_);
    size_t pruneAt_ VMS_GUARDED_BY(mutex_) = 16;  ///< when the dead are looked for
};

}  // namespace vms::host
