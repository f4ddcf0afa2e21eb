#include "media/recording/DurationIndex.h"

#include <exception>
#include <optional>
#include <system_error>
#include <utility>

#include "media/MediaLog.h"
#include "media/recording/RecordingProbe.h"

namespace fs = std::filesystem;

namespace vms {
namespace {

Knowledge LookInto(const fs::path& file, const std::atomic<bool>& stop) {
    const std::optional<int64_t> duration = ProbeDuration(file, stop);
    if (!duration)
        return {Knowledge::Content::kNoVideo, 0};
    return {Knowledge::Content::kVideo, *duration};
}

}  // namespace

DurationIndex::~DurationIndex() {
    CloseUntil(Clock::now());
    Join();
}

void DurationIndex::Learn(const fs::path& folder, RecordingListing& listing) {
    MutexLock lock(mutex_);
    if (!table_.Enter(folder.native(), listing))
        return;
    StartThread();
    work_.NotifyOne();
}

void DurationIndex::Await(const fs::path& folder, RecordingListing& listing,
                          const std::vector<size_t>& which, Clock::time_point deadline) {
    MutexLock lock(mutex_);
    table_.Hurry(folder.native(), listing, which);
    while (!RecallAll(folder, listing, which) && open_ && running_) {
        if (!changed_.WaitUntil(mutex_, deadline)) {
            RecallAll(folder, listing, which);
            return;
        }
    }
}

bool DurationIndex::RecallAll(const fs::path& folder, RecordingListing& listing,
                              const std::vector<size_t>& which) {
    bool all = true;
    for (const size_t i : which)
        all = table_.Recall(folder.native(), listing[i]) && all;
    return all;
}

void DurationIndex::Open() {
    MutexLock lock(mutex_);
    open_ = true;
}

bool DurationIndex::CloseUntil(Clock::time_point deadline) {
    if (!WaitForEnd(deadline))
        return false;
    Join();
    return true;
}

bool DurationIndex::WaitForEnd(Clock::time_point deadline) {
    MutexLock lock(mutex_);
    open_ = false;
    stop_ = true;
    work_.NotifyAll();
    changed_.NotifyAll();
    while (running_) {
        if (!changed_.WaitUntil(mutex_, deadline))
            return !running_;
    }
    return true;
}

void DurationIndex::Join() {
    std::thread thread;
    {
        MutexLock lock(mutex_);
        thread = std::move(thread_);
    }
    if (thread.joinable())
        thread.join();
}

void DurationIndex::StartThread() {
    if (!open_ || running_)
        return;
    if (thread_.joinable())
        thread_.join();  // has ended but for its return
    stop_ = false;
    try {
        thread_ = std::thread([this] { Run(); });
        running_ = true;
    } catch (const std::system_error& error) {
        VMS_MEDIA_LOG(3, "DurationIndex", "no thread: %s", error.what());
    }
}

void DurationIndex::Run() {
    try {
        LookIntoAll();
    } catch (const std::exception& error) {
        VMS_MEDIA_LOG(3, "DurationIndex", "no recording is looked into: %s", error.what());
    }
    MutexLock lock(mutex_);
    running_ = false;
    changed_.NotifyAll();
}

void DurationIndex::LookIntoAll() {
    MutexLock lock(mutex_);
    while (!stop_) {
        const std::optional<DurationTable::Task> task = table_.Next();
        if (!task) {
            work_.Wait(mutex_);
            continue;
        }
        lock.Unlock();
        const fs::path file = fs::path(task->folder) / task->name;
        const std::optional<FileVersion> version = FileVersionOf(file);
        const Knowledge known =
            version ? LookInto(file, stop_) : Knowledge{Knowledge::Content::kNoVideo, 0};
        lock.Lock();
        if (!stop_)
            table_.Store(*task, version.value_or(FileVersion{}), known);
        changed_.NotifyAll();
    }
}

}  // namespace vms
