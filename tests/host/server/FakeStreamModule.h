#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "module/CommandRecord.h"
#include "module/IStreamModule.h"
#include "platform/Mutex.h"
#include "platform/SysCommandHelper.h"
#include "tests/support/Gate.h"

namespace vms::host::test {

/// A module that remembers what it hears of each player. Thread-safe.
class FakeStreamModule final : public IStreamModule {
public:
    using Events = std::vector<std::string>;

    /// What a request comes to; set before the first player. Nothing set: 0.
    std::function<int(long long id, const __tagTvCommand& request)> onRequest;

    void OnConnect(long long id, const char* address, int port) override {
        Note(id, std::string("connect ") + address + (port > 0 ? "" : " without a port"));
    }
    void OnClose(long long id, int, const char*) override { Note(id, "close"); }
    int OnRecv(long long id, void* request, int) override {
        const auto& record = *static_cast<__tagTvCommand*>(request);
        Note(id, "request " + std::to_string(SysCommandHelper::CommandId(&record)) + " " +
                     record.deviceId + " " + record.body.substr(0, 20));
        return onRequest ? onRequest(id, record) : 0;
    }
    int OnStream(long long id, void* data, int length) override {
        Note(id,
             "media " +
                 std::string(static_cast<char*>(data), static_cast<size_t>(length)).substr(0, 20));
        return 0;
    }
    void SetConnectionControl(IStreamConnectionController*) override {}

    /// By player, in the order of their numbers.
    std::map<long long, Events> All() VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        return events_;
    }

    /// Waits until so many events of a kind ("close") have come. @return false when they did not
    [[nodiscard]] bool WaitFor(const std::string& kind, size_t count) VMS_EXCLUDES(mutex_) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        MutexLock lock(mutex_);
        while (counts_[kind] < count) {
            if (!changed_.WaitUntil(mutex_, deadline))
                return counts_[kind] >= count;
        }
        return true;
    }

private:
    void Note(long long id, const std::string& event) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        events_[id].push_back(event);
        ++counts_[event.substr(0, event.find(' '))];
        changed_.NotifyAll();
    }

    Mutex mutex_;
    CondVar changed_;
    std::map<long long, Events> events_ VMS_GUARDED_BY(mutex_);
    std::map<std::string, size_t> counts_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::host::test
