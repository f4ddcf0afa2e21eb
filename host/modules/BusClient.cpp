#include "host/modules/BusClient.h"

#include <algorithm>
#include <deque>
#include <memory>
#include <set>

#include "host/modules/AsyncWaits.h"
#include "host/modules/BusPost.h"
#include "platform/CreateCommandBusInstance.h"
#include "platform/Json.h"
#include "platform/Mutex.h"

namespace vms::host {
namespace {

/// What has come back for one request so far. Filled on the delivery thread, read by the asker.
class Inbox {
public:
    void Put(const __tagTvCommand& response) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        answers_.push_back({Answer::Kind::kAnswered, response.result, response.body});
        changed_.NotifyAll();
    }

    void HandlerEnded(bool threw) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        threw_ = threw;
        changed_.NotifyAll();
    }

    /// Nothing is waited for any more.
    void GiveUp() VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        givenUp_ = true;
        changed_.NotifyAll();
    }

    /// The next answer; threw when none is left and none will come, silent after the deadline or
    /// when given up. A handler that returned may still answer from a thread of its own.
    Answer Next(BusClient::Clock::time_point deadline) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        while (answers_.empty() && !threw_ && !givenUp_) {
            if (!changed_.WaitUntil(mutex_, deadline))
                break;
        }
        if (answers_.empty())
            return {threw_ ? Answer::Kind::kThrew : Answer::Kind::kSilent, 0, {}};
        Answer answer = std::move(answers_.front());
        answers_.pop_front();
        return answer;
    }

private:
    Mutex mutex_;
    CondVar changed_;
    std::deque<Answer> answers_ VMS_GUARDED_BY(mutex_);
    bool threw_ VMS_GUARDED_BY(mutex_) = false;
    bool givenUp_ VMS_GUARDED_BY(mutex_) = false;
};

int64_t Post(ICommandBus& bus, const BusRequest& request, const std::shared_ptr<Inbox>& inbox) {
    return PostRequest(
        bus, request, [inbox](const __tagTvCommand& response) { inbox->Put(response); },
        [inbox](bool threw) { inbox->HandlerEnded(threw); });
}

}  // namespace

/// The inboxes that somebody waits at. Thread-safe.
class BusClient::Waits {
public:
    void Add(Inbox& inbox) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        inboxes_.insert(&inbox);
        if (interrupted_)
            inbox.GiveUp();
    }

    void Remove(Inbox& inbox) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        inboxes_.erase(&inbox);
    }

    void Interrupt() VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        interrupted_ = true;
        for (Inbox* inbox : inboxes_)
            inbox->GiveUp();
    }

    /// Forgets a posted request when the asker leaves, however it leaves.
    class Posted {
    public:
        Posted(BusClient& client, int64_t serial, Inbox& inbox)
            : client_(client), serial_(serial), inbox_(inbox) {
            client_.waits_->Add(inbox_);
        }
        ~Posted() {
            client_.waits_->Remove(inbox_);
            client_.bus_.Cancel(serial_);
        }
        Posted(const Posted&) = delete;
        Posted& operator=(const Posted&) = delete;

    private:
        BusClient& client_;
        const int64_t serial_;
        Inbox& inbox_;
    };

private:
    Mutex mutex_;
    std::set<Inbox*> inboxes_ VMS_GUARDED_BY(mutex_);
    bool interrupted_ VMS_GUARDED_BY(mutex_) = false;
};

bool IsOpenPage(const std::string& body) {
    Json::Value page;
    int type = 2;
    return ParseJson(body.c_str(), page) && ReadInt(page, "pagetype", type) && type != 2;
}

BusClient::BusClient()
    : bus_(*CreateCommandBusInstance()),
      waits_(std::make_unique<Waits>()),
      asyncWaits_(std::make_shared<AsyncWaits>()) {}

BusClient::~BusClient() {
    asyncWaits_->Stop();
}

void BusClient::Interrupt() {
    waits_->Interrupt();
    asyncWaits_->Interrupt();
}

void BusClient::Pending::Cancel() const {
    wait_->Cancel();
}

BusClient::Pending BusClient::Start(const BusRequest& request, AsyncSinks sinks, bool forPages,
                                    Duration silence, Clock::time_point end) {
    const auto wait = std::make_shared<AsyncWait>(
        bus_, asyncWaits_, AsyncWait::Patience{forPages, silence, end}, std::move(sinks));
    if (asyncWaits_->Add(wait, wait->NextDeadline()))
        wait->Post(request);
    else
        wait->End({});
    return Pending(wait);
}

BusClient::Pending BusClient::AskAsync(const BusRequest& request, AsyncSinks sinks,
                                       Duration timeout) {
    return Start(request, std::move(sinks), false, timeout, Clock::time_point::max());
}

BusClient::Pending BusClient::AskPagesAsync(const BusRequest& request, AsyncSinks sinks,
                                            Duration silence, Clock::time_point end) {
    return Start(request, std::move(sinks), true, silence, end);
}

Answer BusClient::Ask(const BusRequest& request, Duration timeout) {
    const auto inbox = std::make_shared<Inbox>();
    const auto deadline = Clock::now() + timeout;
    const int64_t serial = Post(bus_, request, inbox);
    if (serial <= 0)
        return RefusedAnswer(serial);
    const Waits::Posted posted(*this, serial, *inbox);
    return inbox->Next(deadline);
}

Answer BusClient::AskPages(const BusRequest& request, const PageSink& onAnswer, Duration silence,
                           Clock::time_point end) {
    const auto inbox = std::make_shared<Inbox>();
    const int64_t serial = Post(bus_, request, inbox);
    if (serial <= 0)
        return RefusedAnswer(serial);
    const Waits::Posted posted(*this, serial, *inbox);
    for (;;) {
        Answer answer = inbox->Next(std::min(end, Clock::now() + silence));
        if (answer.kind != Answer::Kind::kAnswered)
            return answer;
        onAnswer(answer);
        if (!IsOpenPage(answer.body))
            return answer;
        if (Clock::now() >= end)
            return {};
    }
}

}  // namespace vms::host
