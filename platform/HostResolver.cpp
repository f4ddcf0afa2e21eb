#include "platform/HostResolver.h"

#include <dlfcn.h>
#include <netdb.h>

#include <cstring>
#include <list>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/Mutex.h"
#include "platform/websocket/ThreadSignals.h"

namespace vms {
namespace {

/// getaddrinfo as values. @param error null or a text that lives for ever
HostResolver::Addresses LookUp(const std::string& host, uint16_t port, int flags,
                               const char*& error) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = flags | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const int result = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
    error = result == 0 ? nullptr : gai_strerror(result);
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, &freeaddrinfo);
    HostResolver::Addresses addresses;
    for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
        ResolvedAddress& address = addresses.emplace_back();
        std::memcpy(&address.address, entry->ai_addr, entry->ai_addrlen);
        address.length = entry->ai_addrlen;
    }
    return addresses;
}

/// Keeps this library's code in memory for threads that may outlast the resolver.
void PinLibrary() {
    static const bool pinned = [] {
        Dl_info info{};
        return dladdr(reinterpret_cast<void*>(&PinLibrary), &info) != 0 &&
               dlopen(info.dli_fname, RTLD_NOW | RTLD_NODELETE | RTLD_NOLOAD) != nullptr;
    }();
    static_cast<void>(pinned);
}

}  // namespace

/// What resolver and threads share; the last one of them frees it. A thread inside a look-up holds
/// the name alone: what belongs to the asker stays in here, so that Stop can let go of it.
class HostResolver::Shared : public std::enable_shared_from_this<Shared> {
public:
    struct Question {
        std::string host;
        uint16_t port = 0;
        Wanted wanted;
        Callback callback;
    };

    explicit Shared(int maxThreads) : maxThreads_(maxThreads) {}

    bool Add(Question question) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        if (stopping_)
            return false;
        waiting_.push_back(std::move(question));
        if (threads_ >= maxThreads_ || StartThread() || threads_ > 0)
            return true;
        waiting_.pop_back();
        return false;
    }

    void Stop() VMS_EXCLUDES(mutex_) {
        std::list<Question> dropped;
        MutexLock lock(mutex_);
        stopping_ = true;
        dropped.swap(waiting_);
        dropped.splice(dropped.end(), underWay_);
        while (answering_ > 0)
            answered_.Wait(mutex_);
    }

private:
    using Place = std::list<Question>::iterator;
    struct Task {
        std::string host;
        uint16_t port = 0;
        bool wanted = false;
        Place place;
    };

    bool StartThread() VMS_REQUIRES(mutex_) {
        PinLibrary();
        const BlockedSignals blocked;
        try {
            std::thread([self = shared_from_this()] { self->Run(); }).detach();
        } catch (const std::system_error&) {
            return false;
        }
        ++threads_;
        return true;
    }

    void Run() {
        Task task;
        while (Next(task)) {
            const char* error = nullptr;
            Addresses addresses;
            if (task.wanted)
                addresses = LookUp(task.host, task.port, AI_ADDRCONFIG, error);
            Answer(task, addresses, error);
        }
    }

    bool Next(Task& task) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        if (waiting_.empty()) {
            --threads_;
            return false;
        }
        const Place place = waiting_.begin();
        underWay_.splice(underWay_.end(), waiting_, place);
        task = {place->host, place->port, *place->wanted, place};
        return true;
    }

    void Answer(const Task& task, const Addresses& addresses, const char* error)
        VMS_EXCLUDES(mutex_) {
        std::list<Question> answered;
        MutexLock lock(mutex_);
        if (stopping_)
            return;  // the question has gone
        answered.splice(answered.end(), underWay_, task.place);
        ++answering_;
        lock.Unlock();
        if (task.wanted)
            answered.front().callback(addresses, error);
        answered.clear();
        lock.Lock();
        --answering_;
        answered_.NotifyAll();
    }

    const int maxThreads_;

    Mutex mutex_;
    CondVar answered_;
    std::list<Question> waiting_ VMS_GUARDED_BY(mutex_);
    std::list<Question> underWay_ VMS_GUARDED_BY(mutex_);
    int threads_ VMS_GUARDED_BY(mutex_) = 0;
    int answering_ VMS_GUARDED_BY(mutex_) = 0;  ///< threads inside a callback
    bool stopping_ VMS_GUARDED_BY(mutex_) = false;
};

HostResolver::HostResolver(int maxThreads) : shared_(std::make_shared<Shared>(maxThreads)) {}

HostResolver::~HostResolver() {
    shared_->Stop();
}

HostResolver::Addresses HostResolver::Literal(const std::string& host, uint16_t port) {
    const char* error = nullptr;
    return LookUp(host, port, AI_NUMERICHOST, error);
}

bool HostResolver::Resolve(std::string host, uint16_t port, Wanted wanted, Callback callback) {
    return shared_->Add({std::move(host), port, std::move(wanted), std::move(callback)});
}

}  // namespace vms
