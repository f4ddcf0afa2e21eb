#pragma once

#include <curl/curl.h>

#include <chrono>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "drivers/httpdevice/http/HttpTransfer.h"
#include "platform/Mutex.h"

namespace vms::httpdevice {

/// One thread that has any number of requests under way at the same time, and a clock for tasks.
/// Thread-safe. Tasks and answers run on that thread, one at a time, and must not block.
class HttpReactor {
public:
    using Done = std::function<void(HttpReply reply)>;
    using Task = std::function<void()>;

    /// @throws std::system_error, std::bad_alloc without a thread or memory
    explicit HttpReactor(const FamilySettings& settings);
    /// Stops.
    ~HttpReactor();
    HttpReactor(const HttpReactor&) = delete;
    HttpReactor& operator=(const HttpReactor&) = delete;

    /// Sends and returns. After Stop nothing is sent and `done` never runs.
    void Post(HttpRequest request, Done done) VMS_EXCLUDES(mutex_);

    /// Runs a task later. Tasks that wait when Stop comes never run.
    void After(std::chrono::milliseconds delay, Task task) VMS_EXCLUDES(mutex_);

    /// Waits until what is under way has ended. @return false when the time was too short
    bool WaitIdle(std::chrono::milliseconds time) VMS_EXCLUDES(mutex_);

    /// Drops everything that is under way and ends the thread. Not from that thread.
    void Stop() VMS_EXCLUDES(mutex_);

    /// For transfers of others, which must not outlive this.
    HostNames& Names() { return names_; }

private:
    using Clock = std::chrono::steady_clock;
    struct Exchange {
        Exchange(const FamilySettings& settings, HostNames& names, Done callback)
            : transfer(settings, names), done(std::move(callback)) {}
        HttpTransfer transfer;
        Done done;
        Clock::time_point locateUntil;
    };
    using ExchangePtr = std::unique_ptr<Exchange>;

    void Run();
    void TakeSubmitted() VMS_EXCLUDES(mutex_);
    void StartLocated() VMS_EXCLUDES(mutex_);
    void StartOne(ExchangePtr exchange) VMS_EXCLUDES(mutex_);
    void FinishEnded() VMS_EXCLUDES(mutex_);
    void Finish(CURL* handle, CURLcode code) VMS_EXCLUDES(mutex_);
    void Tell(ExchangePtr exchange, HttpReply reply) VMS_EXCLUDES(mutex_);
    void RunDueTasks() VMS_EXCLUDES(mutex_);
    int WaitMs() VMS_EXCLUDES(mutex_);

    const FamilySettings settings_;
    CURLM* const multi_;
    HostNames names_;

    // Reactor thread only.
    std::list<ExchangePtr> unlocated_;  ///< wait for the look-up of a name
    std::map<CURL*, ExchangePtr> running_;

    Mutex mutex_;
    CondVar idle_;
    bool stop_ VMS_GUARDED_BY(mutex_) = false;
    size_t underWay_ VMS_GUARDED_BY(mutex_) = 0;  ///< submitted and running
    std::vector<ExchangePtr> submitted_ VMS_GUARDED_BY(mutex_);
    std::multimap<Clock::time_point, Task> tasks_ VMS_GUARDED_BY(mutex_);

    std::thread thread_;  ///< last: uses everything above
};

}  // namespace vms::httpdevice
