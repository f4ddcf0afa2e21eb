#include "host/sources/LiveStreams.h"

#include <json/value.h>

#include <utility>

#include "host/text/JsonText.h"

namespace vms::host {
namespace {

/// A stream that has been silent for longer may have gone.
constexpr std::chrono::seconds kSurelyThere{2};

std::string PreviewBody(const StreamAddress& address) {
    Json::Value body(Json::objectValue);
    body["id"] = address.device;
    body["channel"] = address.channel;
    body["streamNo"] = address.stream;
    if (address.faces)
        body["face"] = 1;
    return CompactJson(body);
}

}  // namespace

LiveShare::~LiveShare() {
    streams_.GiveBack(address_, relay_);
}

void LiveStreams::Open(const StreamAddress& address, LiveDone done) {
    std::shared_ptr<LiveShare> share;
    SourceProblem problem;
    bool isFirst = false;
    {
        MutexLock lock(mutex_);
        if (closed_) {
            problem = {503, "the host is ending"};
        } else if (entries_.size() >= kMost && entries_.count(address) == 0) {
            problem = {503, "too many streams are open"};
        } else {
            Entry& entry = entries_[address];
            share = entry.share.lock();
            if (share != nullptr && share->Stream().Silence() < kSurelyThere) {
                // There.
            } else if (entry.waiting.size() >= kMostWaiting) {
                problem = {503, "too many wait for this stream"};
            } else {
                isFirst = entry.waiting.empty();
                entry.waiting.push_back(std::exchange(done, nullptr));
            }
        }
    }
    if (done) {
        done(problem.status == 0 ? share : nullptr, problem);
    } else if (isFirst && share != nullptr) {
        Post([this, share = std::move(share)] { Check(share); });
    } else if (isFirst) {
        Ask(address);
    }
}

void LiveStreams::Ask(const StreamAddress& address) {
    {
        MutexLock lock(mutex_);
        ++asking_;
    }
    devices_.AskForKey(address.device, TV_CMD_GET_PREVIEW_URL, PreviewBody(address),
                       [this, address](const std::string& key, const SourceProblem& problem) {
                           OnKey(address, key, problem);
                       });
}

void LiveStreams::OnKey(const StreamAddress& address, const std::string& key,
                        const SourceProblem& problem) {
    if (key.empty())
        Settle(address, nullptr, problem);
    else
        Post([this, address, key] { Attach(address, key); });
    MutexLock lock(mutex_);
    --asking_;
    answered_.NotifyAll();
}

void LiveStreams::Close() {
    MutexLock lock(mutex_);
    closed_ = true;
    while (asking_ > 0)
        answered_.Wait(mutex_);
}

void LiveStreams::Attach(const StreamAddress& address, const std::string& key) {
    std::shared_ptr<Relay> relay = relays_.Acquire(key);
    if (relay == nullptr) {
        Settle(address, nullptr, {503, "the stream has gone as soon as it came"});
        return;
    }
    Settle(address, std::shared_ptr<LiveShare>(new LiveShare(*this, address, std::move(relay))),
           {});
}

/// Tells all who wait.
void LiveStreams::Settle(const StreamAddress& address, const std::shared_ptr<LiveShare>& share,
                         const SourceProblem& problem) {
    std::vector<LiveDone> waiting;
    {
        MutexLock lock(mutex_);
        Entry& entry = entries_[address];
        waiting.swap(entry.waiting);
        entry.share = share;
        if (share == nullptr)
            entries_.erase(address);
    }
    for (const LiveDone& done : waiting)
        done(share, problem);
}

/// Whether the modules still have a stream that has been silent. If not, whoever watches it is
/// told, and for those who wait it is asked for again.
void LiveStreams::Check(const std::shared_ptr<LiveShare>& share) {
    const std::shared_ptr<Relay> relay = relays_.Acquire(share->Stream().Key());
    const bool isThere = relay.get() == &share->Stream();
    if (relay != nullptr)
        relays_.Release(relay);
    if (isThere) {
        Settle(share->Address(), share, {});
        return;
    }
    bool isWanted = false;
    {
        MutexLock lock(mutex_);
        const auto entry = entries_.find(share->Address());
        if (entry != entries_.end() && entry->second.share.lock() == share) {
            entry->second.share.reset();
            isWanted = !entry->second.waiting.empty();
            if (!isWanted)
                entries_.erase(entry);
        }
    }
    share->Stream().End("the stream has gone");
    if (isWanted)
        Ask(share->Address());
}

void LiveStreams::Sweep() {
    std::vector<std::shared_ptr<LiveShare>> shares;  // the last of one must not go under the lock
    std::vector<std::shared_ptr<LiveShare>> silent;
    {
        MutexLock lock(mutex_);
        for (auto& [address, entry] : entries_) {
            shares.push_back(entry.share.lock());
            if (shares.back() != nullptr && entry.waiting.empty() &&
                shares.back()->Stream().Silence() >= kSurelyThere) {
                // Whoever comes meanwhile waits for what is found out.
                entry.waiting.emplace_back([](const auto&, const auto&) {});
                silent.push_back(shares.back());
            }
        }
    }
    for (auto& share : silent)
        Post([this, share = std::move(share)] { Check(share); });
}

void LiveStreams::GiveBack(const StreamAddress& address, std::shared_ptr<Relay> relay) {
    {
        MutexLock lock(mutex_);
        const auto entry = entries_.find(address);
        if (entry != entries_.end() && entry->second.waiting.empty() &&
            entry->second.share.expired())
            entries_.erase(entry);
    }
    Post([this, relay = std::move(relay)] { relays_.Release(relay); });
}

/// Each on a lane of its own: no stream waits for another one's module.
void LiveStreams::Post(Lanes::Task task) {
    std::make_shared<Lane>(lanes_)->Post(std::move(task));
}

}  // namespace vms::host
