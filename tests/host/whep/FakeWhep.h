#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/players/whep/WhepPlugin.h"
#include "platform/Mutex.h"

namespace vms::host::test {

/// What the fake library has seen, and how it is to behave. Thread-safe.
class FakeWhep {
public:
    enum class Manner { kAnswers, kIsSilent, kFails };

    struct Pushed {
        uint32_t serial;
        int64_t timeMs;
    };

    void SetManner(Manner manner) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        manner_ = manner;
    }
    Manner HowToBehave() const VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        return manner_;
    }

    void Opened(const whep::SessionRequest& request, std::shared_ptr<whep::SessionEvents> events)
        VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        ++open_;
        request_ = request;
        events_ = std::move(events);
    }
    void Closed() VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        --open_;
    }
    void Push(const Pushed& pushed) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        pushed_.push_back(pushed);
    }
    void Forget() VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        pushed_.clear();
        events_.reset();
        manner_ = Manner::kAnswers;
    }

    int OpenSessions() const VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        return open_;
    }
    /// Of the latest session.
    whep::SessionRequest Request() const VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        return request_;
    }
    std::shared_ptr<whep::SessionEvents> Events() const VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        return events_;
    }
    /// The serials of all that has been pushed.
    std::vector<uint32_t> Serials() const VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        std::vector<uint32_t> serials;
        for (const Pushed& pushed : pushed_)
            serials.push_back(pushed.serial);
        return serials;
    }

private:
    mutable Mutex mutex_;
    Manner manner_ VMS_GUARDED_BY(mutex_) = Manner::kAnswers;
    int open_ VMS_GUARDED_BY(mutex_) = 0;
    whep::SessionRequest request_ VMS_GUARDED_BY(mutex_);
    std::shared_ptr<whep::SessionEvents> events_ VMS_GUARDED_BY(mutex_);
    std::vector<Pushed> pushed_ VMS_GUARDED_BY(mutex_);
};

/// What the fake library exports, as `GetFakeWhep`.
using GetFakeWhepFunction = FakeWhep* (*)();

}  // namespace vms::host::test
