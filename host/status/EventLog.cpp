#include "host/status/EventLog.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "host/text/JsonText.h"

namespace vms::host {
namespace {

constexpr size_t kLongestType = 64;
constexpr size_t kLongestDevice = 256;

std::string StreamText(const LoggedEvent& event) {
    return "id: " + std::to_string(event.id) + "\nevent: " + event.type +
           "\ndata: " + EventJson(event) + "\n\n";
}

std::shared_ptr<const PublishedEvent> Published(LoggedEvent event) {
    std::string text = StreamText(event);
    return std::make_shared<PublishedEvent>(PublishedEvent{std::move(event), std::move(text)});
}

LoggedEvent FromRow(const SqlStatement& row) {
    return {
        row.Integer(0), row.Integer(1), row.Text(2), row.Text(3), static_cast<int>(row.Integer(4)),
        row.Text(5)};
}

/// A type becomes part of the lines of a stream.
std::string CleanType(std::string type) {
    type.resize(std::min(type.size(), kLongestType));
    for (char& letter : type) {
        const bool isPlain = (letter >= 'a' && letter <= 'z') || (letter >= '0' && letter <= '9');
        if (!isPlain)
            letter = '-';
    }
    return type;
}

}  // namespace

int64_t EventLog::SystemNow() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

EventLog::EventLog(Database& database, ILogHandler& log, const EventLimits& limits, Now now)
    : database_(database), log_(log), limits_(limits), now_(now) {
    int64_t last = 0;
    database_.ReadNow([&last](SqlConnection& sql) {
        last = sql.Integer("SELECT coalesce(max(id), 0) FROM events");
    });
    MutexLock lock(mutex_);
    lastId_ = shown_ = last;
}

EventLog::~EventLog() {
    MutexLock lock(mutex_);
    while (writing_)
        idle_.Wait(mutex_);
}

void EventLog::Append(HostEvent event) {
    {
        MutexLock lock(mutex_);
        if (waiting_.size() >= limits_.waiting) {
            ++lost_;
            return;
        }
        if (lost_ > 0) {
            HostEvent loss{"events-lost", "", -1, Json::Value(Json::objectValue)};
            loss.data["count"] = static_cast<Json::UInt64>(std::exchange(lost_, 0));
            waiting_.push_back(Make(std::move(loss)));
        }
        waiting_.push_back(Make(std::move(event)));
        if (std::exchange(writing_, true))
            return;
    }
    WriteWaiting();
}

std::shared_ptr<const PublishedEvent> EventLog::Make(HostEvent event) {
    LoggedEvent logged{++lastId_,
                       now_(),
                       CleanType(std::move(event.type)),
                       event.device.substr(0, kLongestDevice),
                       event.channel,
                       {}};
    if (event.data.isObject())
        logged.data = CompactJson(event.data);
    if (logged.data.size() > limits_.dataBytes)
        logged.data.clear();
    return Published(std::move(logged));
}

/// All that waits becomes one write; what comes meanwhile is the next. Of whoever has set the flag.
void EventLog::WriteWaiting() {
    const auto batch = std::make_shared<Batch>();
    {
        MutexLock lock(mutex_);
        batch->swap(waiting_);
        if (batch->empty()) {
            writing_ = false;
            idle_.NotifyAll();
            return;
        }
    }
    const int64_t oldest = batch->back()->event.id - static_cast<int64_t>(limits_.kept);
    const auto age = std::chrono::duration_cast<std::chrono::milliseconds>(limits_.age);
    const int64_t eldest = now_() - age.count();
    database_.Post(
        [batch, oldest, eldest](SqlConnection& sql) {
            for (const auto& published : *batch) {
                const LoggedEvent& event = published->event;
                sql.Run(
                    "INSERT INTO events (id, time, type, device, channel, data) "
                    "VALUES (?, ?, ?, ?, ?, ?)",
                    event.id, event.time, event.type, event.device, event.channel, event.data);
            }
            sql.Run("DELETE FROM events WHERE id <= ?", oldest);
            // The newest stays whatever its age: its number must not be given again.
            sql.Run("DELETE FROM events WHERE time < ? AND id < (SELECT max(id) FROM events)",
                    eldest);
        },
        [this, batch](const std::string& problem) {
            Show(*batch, problem);
            WriteWaiting();
        });
}

void EventLog::Show(const Batch& batch, const std::string& problem) {
    {
        MutexLock lock(mutex_);
        if (!problem.empty() && !failing_)
            log_.Log(3, "Events", "events cannot be kept: %s", problem.c_str());
        failing_ = !problem.empty();
        newest_.insert(newest_.end(), batch.begin(), batch.end());
        shown_ = batch.back()->event.id;
        while (newest_.size() > limits_.inMemory)
            newest_.pop_front();
    }
    MutexLock lock(listenerMutex_);
    if (listener_)
        listener_();
}

int64_t EventLog::Last() const {
    MutexLock lock(mutex_);
    return shown_;
}

EventLog::Batch EventLog::After(int64_t id, size_t most) {
    {
        MutexLock lock(mutex_);
        if (id >= shown_)
            return {};
        if (!newest_.empty() && id + 1 >= newest_.front()->event.id) {
            const auto first = std::upper_bound(
                newest_.begin(), newest_.end(), id,
                [](int64_t wanted, const auto& one) { return wanted < one->event.id; });
            const auto count = std::min<size_t>(most, static_cast<size_t>(newest_.end() - first));
            return {first, first + static_cast<ssize_t>(count)};
        }
    }
    Batch older = Older(id, most);
    if (!older.empty())
        return older;
    MutexLock lock(mutex_);  // the state has none of those: whatever there is
    const auto count = std::min(most, newest_.size());
    return {newest_.begin(), newest_.begin() + static_cast<ssize_t>(count)};
}

EventLog::Batch EventLog::Older(int64_t id, size_t most) {
    Batch batch;
    try {
        database_.ReadNow([&](SqlConnection& sql) {
            batch.clear();
            SqlStatement rows = sql.Prepare(
                "SELECT id, time, type, device, channel, data FROM events "
                "WHERE id > ? ORDER BY id LIMIT ?");
            rows.Bind(id, most);
            while (rows.Step())
                batch.push_back(Published(FromRow(rows)));
        });
    } catch (const std::exception& error) {
        log_.Log(3, "Events", "events cannot be read: %s", error.what());
        batch.clear();
    }
    return batch;
}

std::vector<LoggedEvent> EventLog::Find(const EventQuery& query) {
    std::vector<LoggedEvent> events;
    database_.ReadNow([&](SqlConnection& sql) {
        events.clear();
        SqlStatement rows = sql.Prepare(
            "SELECT id, time, type, device, channel, data FROM events WHERE id < ?1 "
            "AND time >= ?2 AND time < ?3 AND (?4 = '' OR type = ?4) "
            "AND (?5 = '' OR device = ?5) ORDER BY id DESC LIMIT ?6");
        rows.Bind(query.before, query.from, query.to, query.type, query.device, query.most);
        while (rows.Step())
            events.push_back(FromRow(rows));
    });
    return events;
}

void EventLog::SetListener(std::function<void()> more) {
    MutexLock lock(listenerMutex_);
    listener_ = std::move(more);
}

}  // namespace vms::host
