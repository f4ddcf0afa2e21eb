#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "module/ICommandBus.h"
#include "platform/Mutex.h"

namespace vms::test {

/// What became of a request posted on the bus.
struct Outcome {
    bool handled = false;
    bool threw = false;
    std::vector<__tagTvCommand> answers;  ///< up to the end of the handler
};

/// Posts a request and waits until its handler has ended.
Outcome Ask(const std::string& module, __enumTvCommand id, const std::string& deviceId,
            const std::string& body);

/// Collects the bodies of a notification.
class NotificationProbe {
public:
    explicit NotificationProbe(__enumTvCommand id);
    ~NotificationProbe();
    NotificationProbe(const NotificationProbe&) = delete;
    NotificationProbe& operator=(const NotificationProbe&) = delete;

    /// Waits for the next notification that has not been taken yet.
    [[nodiscard]] bool Next(__tagTvCommand& record, std::chrono::seconds timeout);

private:
    vms::Mutex mutex_;
    vms::CondVar arrived_;
    std::vector<__tagTvCommand> records_ VMS_GUARDED_BY(mutex_);
    int64_t token_;
};

}  // namespace vms::test
