#include "host/modules/AsyncWaits.h"

#include <algorithm>
#include <exception>
#include <vector>

#include "host/modules/BusPost.h"

namespace vms::host {

AsyncWaits::~AsyncWaits() {
    Stop();
}

bool AsyncWaits::Add(const std::shared_ptr<AsyncWait>& wait, TimePoint deadline) {
    MutexLock lock(mutex_);
    if (interrupted_)
        return false;
    if (!thread_.joinable())
        thread_ = std::thread([this] { Run(); });
    waits_[wait.get()] = {wait, deadline};
    byDeadline_.emplace(deadline, wait.get());
    changed_.NotifyAll();
    return true;
}

void AsyncWaits::SetDeadline(AsyncWait& wait, TimePoint deadline) {
    MutexLock lock(mutex_);
    const auto found = waits_.find(&wait);
    if (found == waits_.end())
        return;
    byDeadline_.erase({found->second.deadline, &wait});
    byDeadline_.emplace(deadline, &wait);
    found->second.deadline = deadline;
    changed_.NotifyAll();
}

void AsyncWaits::Remove(AsyncWait& wait) {
    Entry removed;  // goes without the lock
    MutexLock lock(mutex_);
    const auto found = waits_.find(&wait);
    if (found == waits_.end())
        return;
    byDeadline_.erase({found->second.deadline, &wait});
    removed = std::move(found->second);
    waits_.erase(found);
}

void AsyncWaits::Interrupt() {
    std::vector<std::shared_ptr<AsyncWait>> waits;
    {
        MutexLock lock(mutex_);
        interrupted_ = true;
        for (const auto& [key, entry] : waits_)
            waits.push_back(entry.wait);
    }
    for (const auto& wait : waits)
        wait->End({});
}

void AsyncWaits::Stop() {
    Interrupt();
    std::thread thread;
    {
        MutexLock lock(mutex_);
        stop_ = true;
        thread.swap(thread_);
        changed_.NotifyAll();
    }
    if (thread.joinable())
        thread.join();
}

void AsyncWaits::Run() {
    while (const auto wait = NextDue())
        wait->End({});
}

/// @return null once stopped
std::shared_ptr<AsyncWait> AsyncWaits::NextDue() {
    MutexLock lock(mutex_);
    while (!stop_) {
        if (byDeadline_.empty()) {
            changed_.Wait(mutex_);
            continue;
        }
        const auto [deadline, wait] = *byDeadline_.begin();
        if (deadline > BusClient::Clock::now()) {
            changed_.WaitUntil(mutex_, deadline);
            continue;
        }
        byDeadline_.erase(byDeadline_.begin());
        const auto found = waits_.find(wait);
        auto due = std::move(found->second.wait);
        waits_.erase(found);
        return due;
    }
    return nullptr;
}

AsyncWait::TimePoint AsyncWait::NextDeadline() const {
    return std::min(patience_.end, BusClient::Clock::now() + patience_.silence);
}

void AsyncWait::Post(const BusRequest& request) {
    const auto self = shared_from_this();
    const int64_t serial = PostRequest(
        bus_, request,
        [self](const __tagTvCommand& response) {
            self->Put({Answer::Kind::kAnswered, response.result, response.body});
        },
        [self](bool threw) { self->HandlerEnded(threw); });
    {
        MutexLock lock(mutex_);
        serial_ = std::max<int64_t>(serial, 0);
        handled_ = handled_ || serial <= 0;
    }
    if (serial <= 0)
        End(RefusedAnswer(serial));
    else
        ForgetIfThrough();
}

void AsyncWait::Put(const Answer& answer) {
    BusClient::PageSink onAnswer;
    {
        MutexLock lock(mutex_);
        if (ended_)
            return;
        onAnswer = sinks_.onAnswer;
    }
    try {
        if (onAnswer)
            onAnswer(answer);
        WaitOn(answer);
    } catch (const std::exception&) {
        Cancel();
    }
}

void AsyncWait::WaitOn(const Answer& answer) {
    if (!patience_.forPages || !IsOpenPage(answer.body))
        End(answer);
    else if (BusClient::Clock::now() >= patience_.end)
        End({});
    else if (const auto waits = waits_.lock())
        waits->SetDeadline(*this, NextDeadline());
}

/// A handler that has returned may still answer from a thread of its own.
void AsyncWait::HandlerEnded(bool threw) {
    {
        MutexLock lock(mutex_);
        handled_ = true;
    }
    if (threw)
        End({Answer::Kind::kThrew, 0, {}});
    ForgetIfThrough();
}

void AsyncWait::End(const Answer& answer) {
    BusClient::AsyncSinks sinks;
    if (!EndWith(sinks))
        return;
    try {
        if (sinks.onEnd)
            sinks.onEnd(answer);
    } catch (const std::exception&) {  // the asker sees its sinks go
    }
}

void AsyncWait::Cancel() {
    BusClient::AsyncSinks sinks;
    EndWith(sinks);
}

/// @param sinks set to those that are to be told and dropped. @return false when it has ended
bool AsyncWait::EndWith(BusClient::AsyncSinks& sinks) {
    {
        MutexLock lock(mutex_);
        if (ended_)
            return false;
        ended_ = true;
        sinks.onAnswer = std::exchange(sinks_.onAnswer, nullptr);
        sinks.onEnd = std::exchange(sinks_.onEnd, nullptr);
    }
    if (const auto waits = waits_.lock())
        waits->Remove(*this);
    ForgetIfThrough();
    return true;
}

/// The bus need not keep a request that has been answered and handled.
void AsyncWait::ForgetIfThrough() {
    std::shared_ptr<void> hold;
    int64_t serial = 0;
    {
        MutexLock lock(mutex_);
        if (!ended_ || !handled_)
            return;
        hold = std::move(sinks_.hold);
        serial = std::exchange(serial_, 0);
    }
    if (serial != 0)
        bus_.Cancel(serial);
}

}  // namespace vms::host
