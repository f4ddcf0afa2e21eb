#include "host/state/Database.h"

#include <algorithm>
#include <future>
#include <iterator>
#include <utility>

#include "host/state/SqlError.h"

namespace vms::host {
namespace {

constexpr char kFile[] = "state.db";
constexpr int64_t kApplication = 0x564d5353;  ///< marks the file as ours
constexpr std::chrono::milliseconds kRetry(50);

/// A transaction that is undone unless it is committed.
class Transaction {
public:
    Transaction(SqlConnection& sql, const char* begin) : sql_(sql) { sql_.Run(begin); }
    ~Transaction() {
        try {
            if (sql_.InTransaction())
                sql_.Run("ROLLBACK");
        } catch (const std::exception&) {
            // A failure so bad that SQLite has undone it itself.
        }
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    void Commit() { sql_.Run("COMMIT"); }

private:
    SqlConnection& sql_;
};

/// Two processes that open at the same moment get in each other's way for an instant, in which
/// SQLite does not wait by itself.
template <class Function>
void RetryWhileBusy(Function function) {
    const auto deadline = std::chrono::steady_clock::now() + SqlConnection::kBusy;
    for (;;) {
        try {
            function();
            return;
        } catch (const SqlError& error) {
            if (!error.IsBusy() || std::chrono::steady_clock::now() > deadline)
                throw;
            std::this_thread::sleep_for(kRetry);
        }
    }
}

void RequireOurs(SqlConnection& sql) {
    const int64_t application = sql.Integer("PRAGMA application_id");
    const bool isEmpty = sql.Integer("SELECT count(*) FROM sqlite_schema") == 0;
    if (application != kApplication && (application != 0 || !isEmpty))
        throw HostError("is no state file of this program");
    SqlStatement check = sql.Prepare("PRAGMA quick_check(1)");
    if (!check.Step() || check.Text(0) != "ok")
        throw HostError("the state file is damaged");
}

void RequireNotNewer(int64_t version, int64_t known) {
    if (version > known)
        throw HostError("the state file is of a newer version (" + std::to_string(version) +
                        ") than this program knows (" + std::to_string(known) + ")");
}

/// "PRAGMA user_version = ?" takes no parameter, so the number is a literal of its own script.
void SetVersion(SqlConnection& sql, int64_t version) {
    sql.RunScript(("PRAGMA user_version = " + std::to_string(version)).c_str());
}

void Migrate(SqlConnection& sql, std::span<const Migration> migrations) {
    const int64_t last = migrations.empty() ? 0 : migrations.back().number;
    RequireNotNewer(sql.Integer("PRAGMA user_version"), last);
    Transaction transaction(sql, "BEGIN IMMEDIATE");
    const int64_t version = sql.Integer("PRAGMA user_version");  // another may have come first
    RequireNotNewer(version, last);
    for (const Migration& migration : migrations) {
        if (migration.number > version)
            sql.RunScript(migration.sql);
    }
    if (version != last)
        SetVersion(sql, last);
    if (sql.Integer("PRAGMA application_id") != kApplication)
        sql.RunScript(("PRAGMA application_id = " + std::to_string(kApplication)).c_str());
    transaction.Commit();
}

void Prepare(SqlConnection& sql, int64_t mostPages) {
    sql.RunScript(
        "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA foreign_keys = ON;"
        "PRAGMA journal_size_limit = 16777216;");
    sql.RunScript(("PRAGMA max_page_count = " + std::to_string(mostPages)).c_str());
}

/// Nobody's mistake ends the writer.
void Tell(const Database::WriteDone& done, const std::string& problem) noexcept {
    try {
        done(problem);
    } catch (const std::exception&) {
        // It is only told.
    }
}

}  // namespace

/// A reading connection for a scope.
class Database::Reader {
public:
    explicit Reader(Database& database) : database_(database), sql_(database.TakeReader()) {}
    ~Reader() { database_.GiveBack(std::move(sql_)); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    SqlConnection& Sql() { return *sql_; }

private:
    Database& database_;
    std::unique_ptr<SqlConnection> sql_;
};

Database::Database(const StateFolder* folder, const DatabaseSettings& settings,
                   std::span<const Migration> migrations)
    : settings_(settings), file_(folder == nullptr ? std::string() : folder->File(kFile)) {
    try {
        RetryWhileBusy([this, migrations] { Open(migrations); });
    } catch (const HostError& error) {
        throw HostError((file_.empty() ? "state" : file_) + ": " + error.what());
    }
    thread_ = std::thread([this] { Run(); });
}

Database::~Database() {
    {
        MutexLock lock(mutex_);
        stop_ = true;
        posted_.NotifyAll();
    }
    thread_.join();
}

void Database::Open(std::span<const Migration> migrations) {
    writer_ = std::make_unique<SqlConnection>(file_.empty() ? ":memory:" : file_, true);
    RequireOurs(*writer_);
    Prepare(*writer_, settings_.mostPages);
    Migrate(*writer_, migrations);
}

void Database::Post(Write write, WriteDone done) {
    {
        MutexLock lock(mutex_);
        if (queue_.size() < settings_.waitingWrites && !stop_) {
            queue_.push_back({std::move(write), std::move(done)});
            posted_.NotifyOne();
            return;
        }
    }
    done("too many changes wait to be written");
}

void Database::WriteNow(const Write& write) {
    std::promise<std::string> outcome;
    Post(write, [&outcome](const std::string& problem) { outcome.set_value(problem); });
    const std::string problem = outcome.get_future().get();
    if (!problem.empty())
        throw HostError(problem);
}

void Database::ReadNow(const Read& read) {
    if (file_.empty()) {
        MutexLock lock(memoryMutex_);
        read(*writer_);
        return;
    }
    Reader reader(*this);
    Transaction snapshot(reader.Sql(), "BEGIN");
    read(reader.Sql());
}

void Database::Watch(const Read& changed) {
    bool entered = false;  // a write may be carried out twice
    WriteNow([this, &changed, &entered](SqlConnection& sql) {
        changed(sql);
        if (!std::exchange(entered, true))
            watchers_.push_back(changed);
    });
}

std::unique_ptr<SqlConnection> Database::TakeReader() {
    MutexLock lock(readMutex_);
    const auto deadline = std::chrono::steady_clock::now() + SqlConnection::kBusy;
    while (readersInUse_ >= settings_.readers) {
        if (!readerFree_.WaitUntil(readMutex_, deadline) && readersInUse_ >= settings_.readers)
            throw HostError("too many readers of the state");
    }
    std::unique_ptr<SqlConnection> reader;
    if (readers_.empty()) {
        reader = std::make_unique<SqlConnection>(file_, false);
    } else {
        reader = std::move(readers_.back());
        readers_.pop_back();
    }
    ++readersInUse_;
    return reader;
}

void Database::GiveBack(std::unique_ptr<SqlConnection> reader) {
    MutexLock lock(readMutex_);
    --readersInUse_;
    readers_.push_back(std::move(reader));
    readerFree_.NotifyOne();
}

void Database::Run() {
    Batch batch;
    while (TakeBatch(batch)) {
        if (!batch.empty())
            CarryOut(batch);
        batch.clear();
        LookForChanges();
    }
}

/// Waits for writes, or until it is time to look for those of others. @return false at the end
bool Database::TakeBatch(Batch& batch) {
    const bool watches = !watchers_.empty() && Lasts();
    const auto look = std::chrono::steady_clock::now() + settings_.watch;
    MutexLock lock(mutex_);
    while (queue_.empty() && !stop_) {
        if (!watches)
            posted_.Wait(mutex_);
        else if (!posted_.WaitUntil(mutex_, look))
            return true;
    }
    const auto count = static_cast<ptrdiff_t>(std::min(queue_.size(), settings_.joinedWrites));
    std::move(queue_.begin(), queue_.begin() + count, std::back_inserter(batch));
    queue_.erase(queue_.begin(), queue_.begin() + count);
    return !batch.empty();
}

void Database::CarryOut(Batch& batch) {
    {
        MutexLock lock(memoryMutex_);
        if (!CarryOutTogether(batch)) {
            // Each for itself: what there is no room for, or what has spoilt the rest, fails alone.
            for (Posted& posted : batch)
                CarryOutTogether({&posted, 1});
        }
    }
    for (const Posted& posted : batch)
        Tell(posted.done, posted.problem);
}

/// @return false when nothing of it has been written; each write has its problem, too
bool Database::CarryOutTogether(std::span<Posted> writes) {
    try {
        Transaction transaction(*writer_, "BEGIN IMMEDIATE");
        for (Posted& posted : writes) {
            posted.problem.clear();
            writer_->Run("SAVEPOINT one");
            try {
                posted.write(*writer_);
            } catch (const std::exception& error) {
                if (!writer_->InTransaction())
                    throw;  // undone with all before it
                posted.problem = error.what();
                writer_->Run("ROLLBACK TO one");
            }
            writer_->Run("RELEASE one");
        }
        transaction.Commit();
        return true;
    } catch (const std::exception& error) {
        for (Posted& posted : writes)
            posted.problem = error.what();
        return false;
    }
}

void Database::LookForChanges() {
    if (watchers_.empty() || !Lasts())
        return;
    try {
        const int64_t version = writer_->Integer("PRAGMA data_version");
        if (version == version_)
            return;
        Transaction snapshot(*writer_, "BEGIN");
        for (const Read& watcher : watchers_)
            watcher(*writer_);
        version_ = version;
    } catch (const std::exception&) {
        // Looked at again in a moment.
    }
}

}  // namespace vms::host
