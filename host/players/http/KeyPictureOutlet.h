#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/relay/Outlet.h"
#include "host/sources/SourceProblem.h"
#include "platform/Mutex.h"

namespace vms::host {

/// Who wants one key picture. Called under the relay's lock: must not wait, nor call the relay.
class KeyPictureWaiter {
public:
    virtual ~KeyPictureWaiter() = default;
    KeyPictureWaiter(const KeyPictureWaiter&) = delete;
    KeyPictureWaiter& operator=(const KeyPictureWaiter&) = delete;

    virtual void Give(const MediaUnit& keyPicture) = 0;
    virtual void Refuse(const SourceProblem& problem) = 0;

protected:
    KeyPictureWaiter() = default;
};

/// Gives the newest key picture of a live stream to whoever asks, or the first one that comes.
/// Those who wait are its clients.
class KeyPictureOutlet final : public Outlet {
public:
    static constexpr char kKind[] = "key picture";

    KeyPictureOutlet() = default;

    void Want(const std::shared_ptr<KeyPictureWaiter>& waiter) VMS_EXCLUDES(mutex_);

    /// @return whether it was still waiting
    bool Withdraw(const KeyPictureWaiter& waiter) VMS_EXCLUDES(mutex_);

    void Take(const MediaUnit& unit) override VMS_EXCLUDES(mutex_);
    void Tell(const __tagTvCommand&) override {}
    void End(const std::string& reason) override VMS_EXCLUDES(mutex_);
    OutletCounts Counts() const override VMS_EXCLUDES(mutex_);

private:
    mutable Mutex mutex_;
    std::optional<MediaUnit> newest_ VMS_GUARDED_BY(mutex_);
    std::vector<std::shared_ptr<KeyPictureWaiter>> waiting_ VMS_GUARDED_BY(mutex_);
    uint64_t takenUnits_ VMS_GUARDED_BY(mutex_) = 0;
};

}  // namespace vms::host
