#include "platform/websocket/HostResolver.h"

#include <dlfcn.h>
#include <netdb.h>

#include <cstring>
#include <deque>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/Mutex.h"
#include "platform/websocket/ThreadSignals.h"

namespace vms {
namespace {

constexpr int kMaxThreads = 8;

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

/// What resolver and threads share; the last one of them frees it.
class HostResolver::Shared : public std::enable_shared_from_this<Shared> {
public:
    struct Question {
        std::string host;
        uint16_t port;
        Wanted wanted;
        Callback callback;
    };

    bool Add(Question question) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        if (stopping_)
            return false;
        questions_.push_back(std::move(question));
        if (threads_ >= kMaxThreads || StartThread() || threads_ > 0)
            return true;
        questions_.pop_back();
        return false;
    }

    void Stop() VMS_EXCLUDES(mutex_) {
        std::deque<Question> dropped;
        MutexLock lock(mutex_);
        stopping_ = true;
        dropped.swap(questions_);
        while (answering_ > 0)
            answered_.Wait(mutex_);
    }

private:
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
        Question question;
        while (Next(question)) {
            if (*question.wanted)
                Answer(question);
            question = {};
        }
    }

    bool Next(Question& question) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        if (questions_.empty()) {
            --threads_;
            return false;
        }
        question = std::move(questions_.front());
        questions_.pop_front();
        return true;
    }

    void Answer(const Question& question) VMS_EXCLUDES(mutex_) {
        const char* error = nullptr;
        const Addresses addresses = LookUp(question.host, question.port, AI_ADDRCONFIG, error);
        MutexLock lock(mutex_);
        if (stopping_)
            return;
        ++answering_;
        lock.Unlock();
        question.callback(addresses, error);
        lock.Lock();
        --answering_;
        answered_.NotifyAll();
    }

    Mutex mutex_;
    CondVar answered_;
    std::deque<Question> questions_ VMS_GUARDED_BY(mutex_);
    int threads_ VMS_GUARDED_BY(mutex_) = 0;
    int answering_ VMS_GUARDED_BY(mutex_) = 0;  ///< threads inside a callback
    bool stopping_ VMS_GUARDED_BY(mutex_) = false;
};

HostResolver::HostResolver() : shared_(std::make_shared<Shared>()) {}

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
