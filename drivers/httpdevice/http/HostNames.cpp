#include "drivers/httpdevice/http/HostNames.h"

#include <netdb.h>

#include <algorithm>
#include <utility>

namespace vms::httpdevice {
namespace {

constexpr size_t kMaxNames = 10'000;
constexpr size_t kMaxAddresses = 16;
constexpr std::chrono::seconds kFreshTime{60};
constexpr std::chrono::milliseconds kLookTime{100};

/// @return "" for an address that belongs to one network card only
std::string ToText(const ResolvedAddress& address) {
    char text[NI_MAXHOST] = "";
    const int error = getnameinfo(reinterpret_cast<const sockaddr*>(&address.address),
                                  address.length, text, sizeof text, nullptr, 0, NI_NUMERICHOST);
    const std::string numbers = error == 0 ? text : "";
    return numbers.find('%') == std::string::npos ? numbers : "";
}

HostLookUp::Result ToResult(const HostResolver::Addresses& addresses, const char* error) {
    HostLookUp::Result result;
    const size_t count = std::min(addresses.size(), kMaxAddresses);
    for (size_t i = 0; i < count; ++i) {
        const std::string text = ToText(addresses[i]);
        if (!text.empty())
            result.addresses += (result.addresses.empty() ? "" : ",") + text;
    }
    if (result.addresses.empty())
        result.error = error != nullptr ? error : "no usable address";
    return result;
}

}  // namespace

std::optional<HostLookUp::Result> HostLookUp::Get() {
    MutexLock lock(mutex_);
    return result_;
}

std::optional<HostLookUp::Result> HostLookUp::Wait(std::chrono::milliseconds time,
                                                   const std::atomic<bool>& cancelled) {
    const auto deadline = std::chrono::steady_clock::now() + time;
    MutexLock lock(mutex_);
    while (!result_ && !cancelled) {
        const auto now = std::chrono::steady_clock::now();
        if (now >= deadline)
            break;
        changed_.WaitUntil(mutex_, std::min(deadline, now + kLookTime));
    }
    return result_;
}

void HostLookUp::Set(Result result) {
    MutexLock lock(mutex_);
    result_ = std::move(result);
    changed_.NotifyAll();
}

HostNames::HostNames(std::function<void()> onAnswer)
    : onAnswer_(std::move(onAnswer)), resolver_(std::make_unique<HostResolver>()) {}

HostNames::~HostNames() {
    Stop();
}

std::shared_ptr<HostLookUp> HostNames::Ask(const std::string& host) {
    if (!HostResolver::Literal(host, 1).empty())
        return nullptr;
    MutexLock lock(mutex_);
    MakeRoom();
    Name& name = names_[host];
    const bool fresh = name.known != nullptr && Clock::now() - name.since < kFreshTime;
    std::shared_ptr<HostLookUp> newest = name.underWay;
    if (!fresh && newest == nullptr)
        newest = Begin(host, name);
    return name.known != nullptr ? name.known : newest;
}

std::shared_ptr<HostLookUp> HostNames::Begin(const std::string& host, Name& name) {
    static const auto wanted = std::make_shared<const std::atomic<bool>>(true);
    const auto lookUp = std::make_shared<HostLookUp>();
    const auto answer = [this, host, lookUp](const HostResolver::Addresses& addresses,
                                             const char* error) {
        OnAnswer(host, lookUp, ToResult(addresses, error));
    };
    if (resolver_ != nullptr && resolver_->Resolve(host, 1, wanted, answer))
        name.underWay = lookUp;
    else
        lookUp->Set({"", "no look-up to be had"});
    return lookUp;
}

void HostNames::OnAnswer(const std::string& host, const std::shared_ptr<HostLookUp>& lookUp,
                         HostLookUp::Result result) {
    const bool found = !result.addresses.empty();
    lookUp->Set(std::move(result));
    {
        MutexLock lock(mutex_);
        Name& name = names_[host];
        name.underWay.reset();
        if (found) {
            name.known = lookUp;
            name.since = Clock::now();
        }
    }
    onAnswer_();
}

void HostNames::MakeRoom() {
    if (names_.size() >= kMaxNames)
        std::erase_if(names_, [](const auto& entry) { return entry.second.underWay == nullptr; });
}

void HostNames::Stop() {
    std::unique_ptr<HostResolver> resolver;  // goes, waiting for answers, when nothing is locked
    MutexLock lock(mutex_);
    resolver.swap(resolver_);
}

}  // namespace vms::httpdevice
