#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "host/http/HttpExchange.h"
#include "host/players/PlayerContext.h"
#include "host/players/http/SnapshotCache.h"
#include "platform/Mutex.h"

namespace vms::host {

/// Answers with the newest key pictures of live streams as JPEG. One thread makes them, as many as
/// wait for it are bounded. Thread-safe.
class Snapshots : public std::enable_shared_from_this<Snapshots> {
public:
    using Clock = std::chrono::steady_clock;

    /// As many may wait for the thread; further ones are asked to come again.
    static constexpr size_t kMostWaiting = 32;
    /// So long a request waits for a stream's first key picture.
    static constexpr std::chrono::seconds kPatience{10};

    /// @param context must outlive this object
    explicit Snapshots(PlayerContext& context) : context_(context) {}

    /// Ends the thread.
    ~Snapshots();
    Snapshots(const Snapshots&) = delete;
    Snapshots& operator=(const Snapshots&) = delete;

    /// @throws std::system_error when there is no thread
    void Start();

    /// @param width as for SnapshotOf
    void Answer(const StreamAddress& address, int width, std::shared_ptr<HttpReply> reply)
        VMS_EXCLUDES(mutex_);

    /// Refuses those who have waited for a picture too long; to be called now and then.
    void Sweep(Clock::time_point now) VMS_EXCLUDES(mutex_);

    /// Takes no more; what waits is refused.
    void Stop() VMS_EXCLUDES(mutex_);

private:
    class Request;

    struct Job {
        std::shared_ptr<Request> request;
        MediaUnit keyPicture;
    };

    void Give(const std::shared_ptr<Request>& request, const MediaUnit& keyPicture)
        VMS_EXCLUDES(mutex_);
    void Run() VMS_EXCLUDES(mutex_);
    void Make(const Job& job) VMS_EXCLUDES(mutex_);

    PlayerContext& context_;
    Mutex mutex_;
    CondVar wake_;
    std::deque<Job> jobs_ VMS_GUARDED_BY(mutex_);
    std::vector<std::shared_ptr<Request>> waiting_ VMS_GUARDED_BY(mutex_);  ///< for a picture
    SnapshotCache cache_ VMS_GUARDED_BY(mutex_);
    bool stopping_ VMS_GUARDED_BY(mutex_) = false;
    std::thread thread_;
};

}  // namespace vms::host
