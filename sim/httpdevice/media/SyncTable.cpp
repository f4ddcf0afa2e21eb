#include "sim/httpdevice/media/SyncTable.h"

#include <utility>

namespace vms::sim::httpdevice {

namespace {

constexpr size_t kMaxSessions = 1000;
constexpr std::chrono::seconds kIdleTime{30};

}  // namespace

void SyncTable::Purge(Clock::time_point now) {
    std::erase_if(entries_, [&](const auto& entry) { return now - entry.second.seen > kIdleTime; });
}

bool SyncTable::Add(Clock::time_point now, Shared session) {
    MutexLock lock(mutex_);
    Purge(now);
    if (entries_.size() >= kMaxSessions)
        return false;
    const std::string token = session->token;
    entries_[token] = {std::move(session), {}, now};
    return true;
}

SyncTable::Shared SyncTable::Find(Clock::time_point now, const std::string& token) {
    MutexLock lock(mutex_);
    Purge(now);
    const auto found = entries_.find(token);
    if (found == entries_.end())
        return nullptr;
    found->second.seen = now;
    return found->second.session;
}

bool SyncTable::Remove(const std::string& token) {
    MutexLock lock(mutex_);
    return entries_.erase(token) > 0;
}

void SyncTable::AddChannels(const std::string& token, const std::set<int>& channels) {
    MutexLock lock(mutex_);
    const auto found = entries_.find(token);
    if (found != entries_.end())
        found->second.channels.insert(channels.begin(), channels.end());
}

void SyncTable::RemoveChannels(const std::string& token, const std::set<int>& channels) {
    MutexLock lock(mutex_);
    const auto found = entries_.find(token);
    if (found != entries_.end())
        std::erase_if(found->second.channels, [&](int one) { return channels.count(one) > 0; });
}

bool SyncTable::HasChannel(const std::string& token, int channel) const {
    MutexLock lock(mutex_);
    const auto found = entries_.find(token);
    return found != entries_.end() && found->second.channels.count(channel) > 0;
}

size_t SyncTable::size() const {
    MutexLock lock(mutex_);
    return entries_.size();
}

}  // namespace vms::sim::httpdevice
