#include "drivers/httpdevice/http/HttpReactor.h"

#include <algorithm>
#include <exception>

#include "module/LogSink.h"
#include "platform/ILogHandler.h"

namespace vms::httpdevice {
namespace {

constexpr long kKeptConnections = 1024;
constexpr int kMaxWaitMs = 1000;

template <class Function>
void Guarded(const Function& function) {
    try {
        function();
    } catch (const std::exception& error) {
        VMS_LOG(3, "HttpReactor", "task ends: %s", error.what());
    } catch (...) {
        VMS_LOG(3, "HttpReactor", "task ends: unknown exception");
    }
}

}  // namespace

HttpReactor::HttpReactor(const FamilySettings& settings)
    : settings_(settings),
      multi_(curl_multi_init()),
      names_([multi = multi_] { curl_multi_wakeup(multi); }) {
    if (multi_ == nullptr)
        throw std::bad_alloc();
    curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, kKeptConnections);
    thread_ = std::thread([this] { Run(); });
}

HttpReactor::~HttpReactor() {
    Stop();
    names_.Stop();
    curl_multi_cleanup(multi_);
}

void HttpReactor::Post(HttpRequest request, Done done) {
    auto exchange = std::make_unique<Exchange>(settings_, names_, std::move(done));
    exchange->transfer.Prepare(std::move(request));
    exchange->locateUntil = Clock::now() + settings_.connectTimeout;
    MutexLock lock(mutex_);
    if (stop_)
        return;
    submitted_.push_back(std::move(exchange));
    ++underWay_;
    curl_multi_wakeup(multi_);
}

void HttpReactor::After(std::chrono::milliseconds delay, Task task) {
    MutexLock lock(mutex_);
    if (stop_)
        return;
    const auto entry = tasks_.emplace(Clock::now() + delay, std::move(task));
    if (entry == tasks_.begin())
        curl_multi_wakeup(multi_);
}

bool HttpReactor::WaitIdle(std::chrono::milliseconds time) {
    const auto deadline = Clock::now() + time;
    MutexLock lock(mutex_);
    while (underWay_ > 0 && !stop_) {
        if (!idle_.WaitUntil(mutex_, deadline))
            return underWay_ == 0;
    }
    return true;
}

void HttpReactor::Stop() {
    {
        MutexLock lock(mutex_);
        stop_ = true;
        idle_.NotifyAll();
        curl_multi_wakeup(multi_);
    }
    if (thread_.joinable())
        thread_.join();
}

void HttpReactor::Run() {
    const auto stopped = [this] {
        MutexLock lock(mutex_);
        return stop_;
    };
    while (!stopped()) {
        TakeSubmitted();
        StartLocated();
        int count = 0;
        curl_multi_perform(multi_, &count);
        FinishEnded();
        RunDueTasks();
        curl_multi_poll(multi_, nullptr, 0, WaitMs(), nullptr);
    }
    for (const auto& [handle, exchange] : running_)
        curl_multi_remove_handle(multi_, handle);
    running_.clear();
    unlocated_.clear();
    // What they hold is let go on no lock.
    std::vector<ExchangePtr> submitted;
    std::multimap<Clock::time_point, Task> tasks;
    MutexLock lock(mutex_);
    submitted.swap(submitted_);
    tasks.swap(tasks_);
    lock.Unlock();
    submitted.clear();
    tasks.clear();
    lock.Lock();
}

void HttpReactor::TakeSubmitted() {
    std::vector<ExchangePtr> added;
    {
        MutexLock lock(mutex_);
        added.swap(submitted_);
    }
    for (ExchangePtr& exchange : added)
        unlocated_.push_back(std::move(exchange));
}

void HttpReactor::StartLocated() {
    const auto now = Clock::now();
    for (auto entry = unlocated_.begin(); entry != unlocated_.end();) {
        const HttpTransfer::Place place = (*entry)->transfer.Locate();
        if (place == HttpTransfer::Place::kAsked && now < (*entry)->locateUntil) {
            ++entry;
            continue;
        }
        ExchangePtr exchange = std::move(*entry);
        entry = unlocated_.erase(entry);
        if (place == HttpTransfer::Place::kKnown) {
            StartOne(std::move(exchange));
        } else {
            HttpReply reply = exchange->transfer.NotFound();
            Tell(std::move(exchange), std::move(reply));
        }
    }
}

void HttpReactor::StartOne(ExchangePtr exchange) {
    CURL* const handle = exchange->transfer.Handle();
    running_[handle] = std::move(exchange);
    if (curl_multi_add_handle(multi_, handle) != CURLM_OK)
        Finish(handle, CURLE_FAILED_INIT);
}

void HttpReactor::FinishEnded() {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        CURL* const handle = message->easy_handle;
        const CURLcode code = message->data.result;
        curl_multi_remove_handle(multi_, handle);
        Finish(handle, code);
    }
}

void HttpReactor::Finish(CURL* handle, CURLcode code) {
    const auto found = running_.find(handle);
    if (found == running_.end())
        return;
    ExchangePtr exchange = std::move(found->second);
    running_.erase(found);
    HttpReply reply = exchange->transfer.Finish(code);
    Tell(std::move(exchange), std::move(reply));
}

void HttpReactor::Tell(ExchangePtr exchange, HttpReply reply) {
    if (exchange->done)
        Guarded([&] { exchange->done(std::move(reply)); });
    exchange.reset();
    MutexLock lock(mutex_);
    if (--underWay_ == 0)
        idle_.NotifyAll();
}

void HttpReactor::RunDueTasks() {
    std::vector<Task> due;
    {
        MutexLock lock(mutex_);
        const auto end = tasks_.upper_bound(Clock::now());
        for (auto entry = tasks_.begin(); entry != end; ++entry)
            due.push_back(std::move(entry->second));
        tasks_.erase(tasks_.begin(), end);
    }
    for (const Task& task : due)
        Guarded(task);
}

int HttpReactor::WaitMs() {
    MutexLock lock(mutex_);
    if (stop_ || !submitted_.empty())
        return 0;
    auto next = tasks_.empty() ? Clock::time_point::max() : tasks_.begin()->first;
    for (const ExchangePtr& exchange : unlocated_)
        next = std::min(next, exchange->locateUntil);
    if (next == Clock::time_point::max())
        return kMaxWaitMs;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
    return static_cast<int>(std::clamp<int64_t>(left.count(), 0, kMaxWaitMs));
}

}  // namespace vms::httpdevice
