#include "host/api/EventStreams.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "host/net/Connection.h"

namespace vms::host {
namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kMostAtOnce = 64;               ///< events read at a time
constexpr size_t kMostBytes = size_t{64} << 10;  ///< about as much is sent at a time
constexpr char kGreeting[] = "retry: 2000\n\n";  ///< ms until a client comes back
constexpr char kHeartbeat[] = ": still here\n\n";

std::string GapText(int64_t last, int64_t missed) {
    return "id: " + std::to_string(last) +
           "\nevent: gap\ndata: {\"missed\":" + std::to_string(missed) + "}\n\n";
}

struct Client {
    std::shared_ptr<HttpReply> reply;  ///< dropped = the stream ends
    std::shared_ptr<Connection> connection;
    std::string address;
    EventFilter filter;
    std::vector<std::shared_ptr<void>> holds;
    int64_t seen = 0;           ///< the last event that it has been sent, or that is not for it
    Clock::time_point heard{};  ///< when it was last sent something
};

bool Send(Client& client, const std::string& text, Clock::time_point now) {
    client.heard = now;
    return client.connection->Send({}, text, SendQueue::Class::kPiece);
}

}  // namespace

bool EventFilter::Wants(const LoggedEvent& event) const {
    return (types.empty() || types.count(event.type) != 0) &&
           (devices.empty() || devices.count(event.device) != 0);
}

/// Who is there. Those of the table belong to the thread that serves them; others add and take off.
class EventStreams::Clients : public std::enable_shared_from_this<Clients> {
public:
    explicit Clients(const EventStreamLimits& limits) : limits_(limits) {}

    bool Add(const std::shared_ptr<HttpReply>& reply, const std::string& address, int64_t after,
             EventFilter filter, std::vector<std::shared_ptr<void>> holds) VMS_EXCLUDES(mutex_) {
        uint64_t number = 0;
        {
            MutexLock lock(mutex_);
            if (ended_ || clients_.size() >= limits_.clients ||
                OfAddress(address) >= limits_.clientsOfAddress)
                return false;
            number = ++lastNumber_;
            clients_[number] = std::make_shared<Client>();  // keeps the place
            clients_[number]->address = address;
        }
        auto client =
            std::make_shared<Client>(Client{reply, Begin(*reply), address, std::move(filter),
                                            std::move(holds), after, Clock::now()});
        const bool isThere =
            client->connection != nullptr && Send(*client, kGreeting, client->heard);
        {
            MutexLock lock(mutex_);
            if (isThere && !ended_)
                clients_[number] = client;
            else
                clients_.erase(number);
            wake_ = true;
            changed_.NotifyAll();
        }
        if (isThere)
            reply->OnGone([weak = weak_from_this(), number] {
                if (const auto self = weak.lock())
                    self->Remove(number);
            });
        return true;
    }

    void Remove(uint64_t number) VMS_EXCLUDES(mutex_) {
        std::shared_ptr<Client> gone;  // outlives the lock
        MutexLock lock(mutex_);
        const auto client = clients_.find(number);
        if (client == clients_.end())
            return;
        gone = std::move(client->second);
        clients_.erase(client);
        lock.Unlock();
    }

    void Wake() VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        wake_ = true;
        changed_.NotifyAll();
    }

    void End() VMS_EXCLUDES(mutex_) {
        std::map<uint64_t, std::shared_ptr<Client>> left;
        MutexLock lock(mutex_);
        ended_ = true;
        left.swap(clients_);
        changed_.NotifyAll();
        lock.Unlock();
    }

    size_t Count() VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        return clients_.size();
    }

    /// Serves everybody until the end.
    void Run(EventLog& log) VMS_EXCLUDES(mutex_) {
        bool anyoneWaits = false;
        std::vector<std::shared_ptr<Client>> all;
        while (Wait(anyoneWaits, all)) {
            anyoneWaits = false;
            const auto now = Clock::now();
            for (const auto& client : all)
                anyoneWaits = Serve(*client, log, now) || anyoneWaits;
            all.clear();
        }
    }

private:
    size_t OfAddress(const std::string& address) const VMS_REQUIRES(mutex_) {
        return static_cast<size_t>(
            std::count_if(clients_.begin(), clients_.end(),
                          [&](const auto& client) { return client.second->address == address; }));
    }

    static std::shared_ptr<Connection> Begin(HttpReply& reply) {
        return reply.BeginLive({200,
                                "text/event-stream",
                                "",
                                {{"Cache-Control", "no-cache"}, {"X-Accel-Buffering", "no"}}});
    }

    /// Until there is something to do. @return false = the end
    bool Wait(bool anyoneWaits, std::vector<std::shared_ptr<Client>>& all) VMS_EXCLUDES(mutex_) {
        const auto deadline = Clock::now() + (anyoneWaits ? limits_.look
                                                          : std::max(limits_.heartbeat / 8,
                                                                     std::chrono::milliseconds(1)));
        MutexLock lock(mutex_);
        while (!wake_ && !ended_) {
            if (!changed_.WaitUntil(mutex_, deadline))
                break;
        }
        wake_ = false;
        for (const auto& [number, client] : clients_) {
            if (client->connection != nullptr)
                all.push_back(client);
        }
        return !ended_;
    }

    /// @return whether it must be looked at again soon
    bool Serve(Client& client, EventLog& log, Clock::time_point now) const {
        for (;;) {
            if (client.connection->IsGivenUp())
                return false;  // its end is on the way
            if (client.connection->Counts().queuedBytes > 0)
                return true;
            std::string text;
            const bool more = Collect(client, log, text);
            if (text.empty() && !more) {
                if (now - client.heard >= limits_.heartbeat)
                    Send(client, kHeartbeat, now);
                return false;
            }
            if (!text.empty() && !Send(client, text, now))
                return false;
        }
    }

    /// The next events for a client. @return whether there may be more
    static bool Collect(Client& client, EventLog& log, std::string& text) {
        const EventLog::Batch batch = log.After(client.seen, kMostAtOnce);
        for (const auto& event : batch) {
            const int64_t missed = event->event.id - client.seen - 1;
            if (missed > 0)
                text += GapText(event->event.id - 1, missed);
            client.seen = event->event.id;
            if (client.filter.Wants(event->event))
                text += event->stream;
            if (text.size() >= kMostBytes)
                return true;
        }
        return !batch.empty();
    }

    const EventStreamLimits limits_;
    mutable Mutex mutex_;
    CondVar changed_;
    std::map<uint64_t, std::shared_ptr<Client>> clients_ VMS_GUARDED_BY(mutex_);
    uint64_t lastNumber_ VMS_GUARDED_BY(mutex_) = 0;
    bool wake_ VMS_GUARDED_BY(mutex_) = false;
    bool ended_ VMS_GUARDED_BY(mutex_) = false;
};

EventStreams::EventStreams(EventLog& log, const EventStreamLimits& limits)
    : log_(log),
      clients_(std::make_shared<Clients>(limits)),
      thread_([this] { clients_->Run(log_); }) {
    log_.SetListener([clients = clients_] { clients->Wake(); });
}

EventStreams::~EventStreams() {
    log_.SetListener({});
    clients_->End();
    thread_.join();
}

bool EventStreams::Add(const std::shared_ptr<HttpReply>& reply, const std::string& address,
                       int64_t after, EventFilter filter,
                       std::vector<std::shared_ptr<void>> holds) {
    return clients_->Add(reply, address, after, std::move(filter), std::move(holds));
}

size_t EventStreams::Count() const {
    return clients_->Count();
}

}  // namespace vms::host
