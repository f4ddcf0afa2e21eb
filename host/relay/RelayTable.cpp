#include "host/relay/RelayTable.h"

#include <utility>

namespace vms::host {
namespace {

/// A stream that has been silent for longer may have gone: the modules are asked again.
constexpr std::chrono::seconds kSurelyThere{2};

constexpr int kNormalClosure = 1000;

/// Takes nothing: for a number under which the modules are only asked.
class Nobody final : public Receiver {
public:
    explicit Nobody(long long number) : number_(number) {}
    long long Number() const override { return number_; }
    bool SendUnit(std::string_view, bool) override { return true; }
    bool SendCommand(const __tagTvCommand&) override { return true; }
    int QueuedUnits() const override { return 0; }
    void Close(const std::string&) override {}

private:
    const long long number_;
};

}  // namespace

std::shared_ptr<Relay> RelayTable::Acquire(const std::string& key) {
    std::shared_ptr<Relay> relay = Share(key);
    if (relay == nullptr)
        return Start(key);
    if (relay->Silence() < kSurelyThere || IsStillThere(key))
        return relay;
    Release(relay);
    MutexLock lock(mutex_);
    const auto entry = entries_.find(key);
    if (entry != entries_.end() && entry->second.relay == relay) {
        orphans_.emplace(relay.get(), std::move(entry->second));
        entries_.erase(entry);
    }
    return nullptr;
}

/// A share of a relay that is there, or will be in a moment. @return null: the caller is to start
/// it, and others wait for that
std::shared_ptr<Relay> RelayTable::Share(const std::string& key) {
    MutexLock lock(mutex_);
    for (;;) {
        const auto [entry, isNew] = entries_.try_emplace(key);
        if (isNew)
            return nullptr;
        if (entry->second.relay != nullptr) {
            ++entry->second.shares;
            return entry->second.relay;
        }
        started_.Wait(mutex_);
    }
}

std::shared_ptr<Relay> RelayTable::Start(const std::string& key) {
    const auto relay = std::make_shared<Relay>(receivers_.NextNumber(), key, limits_, now_);
    receivers_.Add(relay);
    modules_.OnConnect(relay->Number(), "", 0);
    relay->BeginGreeting();
    const bool started = Request(relay->Number(), TV_STREAM_PREVIEW_START, key) == 0;
    relay->EndGreeting();
    {
        MutexLock lock(mutex_);
        if (started)
            entries_[key] = {relay, 1};
        else
            entries_.erase(key);
        started_.NotifyAll();
    }
    if (started)
        return relay;
    receivers_.Remove(relay->Number());
    modules_.OnClose(relay->Number(), kNormalClosure, "no such stream");
    return nullptr;
}

void RelayTable::Release(const std::shared_ptr<Relay>& relay) {
    {
        MutexLock lock(mutex_);
        const auto orphan = orphans_.find(relay.get());
        const auto entry = entries_.find(relay->Key());
        if (orphan != orphans_.end()) {
            if (--orphan->second.shares > 0)
                return;
            orphans_.erase(orphan);
        } else if (entry != entries_.end() && entry->second.relay == relay) {
            if (--entry->second.shares > 0)
                return;
            entries_.erase(entry);
        }
    }
    Request(relay->Number(), TV_STREAM_PREVIEW_STOP, relay->Key());
    receivers_.Remove(relay->Number());
    modules_.OnClose(relay->Number(), kNormalClosure, "nobody watches");
}

std::vector<RelayInfo> RelayTable::List() const {
    std::vector<std::shared_ptr<Relay>> relays;
    {
        MutexLock lock(mutex_);
        for (const auto& [key, entry] : entries_) {
            if (entry.relay != nullptr)
                relays.push_back(entry.relay);
        }
    }
    std::vector<RelayInfo> list;
    for (const auto& relay : relays)
        list.push_back({relay->Key(), relay->Counts()});
    return list;
}

/// Whether the modules still have the stream, without disturbing its relay.
bool RelayTable::IsStillThere(const std::string& key) {
    const auto nobody = std::make_shared<Nobody>(receivers_.NextNumber());
    receivers_.Add(nobody);
    const bool isThere = Request(nobody->Number(), TV_STREAM_PREVIEW_START, key) == 0;
    if (isThere)
        Request(nobody->Number(), TV_STREAM_PREVIEW_STOP, key);
    receivers_.Remove(nobody->Number());
    return isThere;
}

int RelayTable::Request(long long number, int command, const std::string& key) {
    return modules_.OnRequest(number, PlayerRequest{command, key, ""});
}

}  // namespace vms::host
