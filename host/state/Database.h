#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "host/state/Migrations.h"
#include "host/state/SqlConnection.h"
#include "host/state/StateFolder.h"
#include "platform/Mutex.h"

namespace vms::host {

struct DatabaseSettings {
    size_t waitingWrites = 4096;  ///< a further one fails at once
    size_t joinedWrites = 256;    ///< at most in one transaction
    size_t readers = 4;           ///< connections that read at a time
    int64_t mostPages = 262'144;  ///< of 4 KiB; a file that would grow beyond is as a full disk
    std::chrono::milliseconds watch{500};  ///< how often another process's writes are looked for
};

/// What lasts: one SQLite file "state.db" in the state folder, or without a folder one in memory
/// that ends with this object. What has been acknowledged survives the end of the process at any
/// moment and a power cut. Other processes may use the file at the same time. Thread-safe.
///
/// One thread writes. Writes are carried out in the order of their posting, several of them in one
/// transaction when they come faster than the disk takes them; one that fails takes none of the
/// others with it. Reads see what has been committed and wait for no write.
class Database {
public:
    /// Carried out on the writer's thread, more than once when a transaction has to be tried again:
    /// its only effect must be on the database. It must not wait. Throwing undoes what it did.
    using Write = std::function<void(SqlConnection& sql)>;

    /// Told the outcome on the writer's thread, once: "" = it is on the disk, else why it is not.
    /// Must not wait, nor throw.
    using WriteDone = std::function<void(const std::string& problem)>;

    using Read = std::function<void(SqlConnection& sql)>;

    /// @param folder     null = in memory
    /// @param migrations brings older files up to this list's last number
    /// @throws HostError when the file cannot be used, is damaged, not ours, or from a newer
    /// version
    explicit Database(const StateFolder* folder, const DatabaseSettings& settings = {},
                      std::span<const Migration> migrations = AllMigrations());

    /// Carries out the writes that have been posted.
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    /// Posts a write. Does not wait; a full queue tells `done` inside the call.
    void Post(Write write, WriteDone done) VMS_EXCLUDES(mutex_);

    /// Carries out a write and waits for it; not on the writer's thread. @throws HostError
    void WriteNow(const Write& write);

    /// Reads in one snapshot, on the calling thread: a few milliseconds at most, so not on an I/O
    /// thread. What the function throws passes. @throws HostError
    void ReadNow(const Read& read) VMS_EXCLUDES(readMutex_);

    /// Has a function called on the writer's thread with what is on the disk: once before this
    /// returns, then each time another process has changed it, within DatabaseSettings::watch.
    /// Between the calls only this object's own writes change it, and they are told on the same
    /// thread. Not on the writer's thread. @throws HostError when the first call throws
    void Watch(const Read& changed) VMS_EXCLUDES(mutex_);

    /// Whether it outlives this object.
    bool Lasts() const { return !file_.empty(); }

private:
    struct Posted {
        Write write;
        WriteDone done;
        std::string problem{};
    };
    using Batch = std::vector<Posted>;
    class Reader;

    void Open(std::span<const Migration> migrations);
    void Run() VMS_EXCLUDES(mutex_);
    bool TakeBatch(Batch& batch) VMS_EXCLUDES(mutex_);
    void CarryOut(Batch& batch);
    bool CarryOutTogether(std::span<Posted> writes);
    void LookForChanges();
    std::unique_ptr<SqlConnection> TakeReader() VMS_EXCLUDES(readMutex_);
    void GiveBack(std::unique_ptr<SqlConnection> reader) VMS_EXCLUDES(readMutex_);

    const DatabaseSettings settings_;
    std::string file_;   ///< constant; "" = in memory
    Mutex memoryMutex_;  ///< in memory: held by whoever uses the only connection
    std::unique_ptr<SqlConnection> writer_;  ///< of the writer's thread, but for the above

    Mutex mutex_;
    CondVar posted_;
    std::deque<Posted> queue_ VMS_GUARDED_BY(mutex_);
    bool stop_ VMS_GUARDED_BY(mutex_) = false;
    // Of the writer's thread:
    std::vector<Read> watchers_;
    int64_t version_ = 0;  ///< the file's, as far as the watchers know

    Mutex readMutex_;
    CondVar readerFree_;
    std::vector<std::unique_ptr<SqlConnection>> readers_ VMS_GUARDED_BY(readMutex_);  ///< unused
    size_t readersInUse_ VMS_GUARDED_BY(readMutex_) = 0;

    std::thread thread_;  ///< last: uses all of the above
};

}  // namespace vms::host
