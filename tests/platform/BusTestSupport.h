#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "module/ICommandBus.h"
#include "platform/Mutex.h"
#include "platform/SysCommandHelper.h"
#include "tests/support/Gate.h"

namespace vms::test {

inline constexpr const char* kModule = "module";
inline constexpr std::chrono::seconds kPatience{20};

/// What happened, in order, from any thread.
class Journal {
public:
    void Add(std::string entry) VMS_EXCLUDES(mutex_) {
        {
            MutexLock lock(mutex_);
            entries_.push_back(std::move(entry));
        }
        added_.NotifyAll();
    }

    /// @return whether there were that many entries before patience ran out
    [[nodiscard]] bool WaitFor(size_t count) VMS_EXCLUDES(mutex_) {
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        MutexLock lock(mutex_);
        while (entries_.size() < count) {
            if (!added_.WaitUntil(mutex_, deadline))
                return entries_.size() >= count;
        }
        return true;
    }

    std::vector<std::string> Entries() VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        return entries_;
    }

    size_t Count(const std::string& entry) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        return static_cast<size_t>(std::count(entries_.begin(), entries_.end(), entry));
    }

private:
    Mutex mutex_;
    CondVar added_;
    std::vector<std::string> entries_ VMS_GUARDED_BY(mutex_);
};

inline __tagTvCommand Request(__enumTvCommand id, std::string deviceId = "",
                              std::string body = "") {
    __tagTvCommand request;
    request.serial = id;
    request.deviceId = std::move(deviceId);
    request.body = std::move(body);
    return request;
}

inline bool Answer(ICommandBus& bus, const __tagTvCommand* request, const char* body) {
    __tagTvCommand* const response = g_commandHelper.CreateResponseCommand(request, 1, body);
    const bool sent = bus.SendResponse(response);
    g_commandHelper.ReleaseCommand(response);
    return sent;
}

/// Puts the bodies of answers into a journal.
inline ICommandBus::Callback BodiesTo(Journal& journal) {
    return [&journal](const __tagTvCommand& response) { journal.Add(response.body); };
}

}  // namespace vms::test
