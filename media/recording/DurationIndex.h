#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <thread>
#include <vector>

#include "media/recording/DurationTable.h"
#include "media/recording/FolderListing.h"
#include "platform/Mutex.h"

namespace vms {

/// Knows how long recordings are, and finds out in the background: one thread, started with the
/// first recording that is not known, looks into one file after the other. Thread-safe.
class DurationIndex {
public:
    using Clock = std::chrono::steady_clock;

    DurationIndex() = default;
    /// Ends the thread and waits for it.
    ~DurationIndex();
    DurationIndex(const DurationIndex&) = delete;
    DurationIndex& operator=(const DurationIndex&) = delete;

    /// Fills in what is known of a folder's recordings; the others are looked into from now on,
    /// those that are asked for first. Does not wait.
    void Learn(const std::filesystem::path& folder, RecordingListing& listing) VMS_EXCLUDES(mutex_);

    /// Has some recordings of a listing that has been learnt looked into before all others and
    /// waits until they are known, the deadline has come or nobody looks into files any more.
    /// @param which indices in ascending order
    void Await(const std::filesystem::path& folder, RecordingListing& listing,
               const std::vector<size_t>& which, Clock::time_point deadline) VMS_EXCLUDES(mutex_);

    /// From now on files may be looked into again.
    void Open() VMS_EXCLUDES(mutex_);

    /// Asks the thread to end and waits for that; what is known stays.
    /// @return false when it still runs at the deadline
    bool CloseUntil(Clock::time_point deadline) VMS_EXCLUDES(mutex_);

private:
    void StartThread() VMS_REQUIRES(mutex_);
    bool WaitForEnd(Clock::time_point deadline) VMS_EXCLUDES(mutex_);
    void Join() VMS_EXCLUDES(mutex_);
    void Run() VMS_EXCLUDES(mutex_);
    void LookIntoAll() VMS_EXCLUDES(mutex_);
    bool RecallAll(const std::filesystem::path& folder, RecordingListing& listing,
                   const std::vector<size_t>& which) VMS_REQUIRES(mutex_);

    std::atomic<bool> stop_{false};  ///< also ends reading a file

    Mutex mutex_;
    CondVar work_;     ///< there are tasks, or none will be done any more
    CondVar changed_;  ///< something has become known, or the thread has ended
    DurationTable table_ VMS_GUARDED_BY(mutex_);
    bool open_ VMS_GUARDED_BY(mutex_) = true;
    bool running_ VMS_GUARDED_BY(mutex_) = false;
    std::thread thread_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms
