#include "host/auth/LoginDelays.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>

namespace vms::host {
namespace {

constexpr int kMostDoublings = 6;  ///< 1 s becomes more than the longest
constexpr size_t kGroupBytes = 8;
constexpr LoginDelays::Time kNever{};  ///< of what is not forgotten with time
constexpr size_t kLongestName = 64;    ///< longer ones share a place: nobody has such a name

std::string Pair(const std::string& address, const std::string& name) {
    return address + " " + name.substr(0, kLongestName);
}

}  // namespace

LoginDelays::Entry* LoginDelays::Table::Find(const std::string& key, Time now) {
    const auto place = places_.find(key);
    if (place == places_.end())
        return nullptr;
    if (now - place->second->failed > kMemory) {
        Remove(key);
        return nullptr;
    }
    return &*place->second;
}

LoginDelays::Entry& LoginDelays::Table::FindOrAdd(const std::string& key, Time now) {
    if (Entry* const known = Find(key, now)) {
        entries_.splice(entries_.begin(), entries_, places_.at(key));
        known->failed = now;
        return *known;
    }
    if (entries_.size() >= kMost)
        Remove(std::string(entries_.back().key));
    entries_.push_front({.key = key, .address = {}, .failures = 0, .until = {}, .failed = now});
    places_[key] = entries_.begin();
    return entries_.front();
}

void LoginDelays::Table::Remove(const std::string& key) {
    const auto place = places_.find(key);
    if (place == places_.end())
        return;
    entries_.erase(place->second);
    places_.erase(place);
}

std::chrono::seconds LoginDelays::Wait(const std::string& address, const std::string& name,
                                       Time now) {
    MutexLock lock(mutex_);
    Time until = now;
    if (const Entry* const entry = addresses_.Find(address, now))
        until = std::max(until, entry->until);
    const std::string key = name.substr(0, kLongestName);
    // However long ago that was.
    const bool isKnown = known_.Find(Pair(address, name), kNever) != nullptr;
    if (const Entry* const entry = isKnown ? nullptr : names_.Find(key, now))
        until = std::max(until, entry->until);
    return std::chrono::ceil<std::chrono::seconds>(until - now);
}

void LoginDelays::Failed(const std::string& address, const std::string& name, Time now) {
    MutexLock lock(mutex_);
    Lengthen(addresses_.FindOrAdd(address, now), now);
    Entry& tried = names_.FindOrAdd(name.substr(0, kLongestName), now);
    if (tried.address != address)
        Lengthen(tried, now);
    tried.address = address;
}

void LoginDelays::Succeeded(const std::string& address, const std::string& name) {
    MutexLock lock(mutex_);
    names_.Remove(name.substr(0, kLongestName));
    known_.FindOrAdd(Pair(address, name), kNever);
}

void LoginDelays::Lengthen(Entry& entry, Time now) {
    const int doublings = std::min(entry.failures++, kMostDoublings);
    entry.until = now + std::min<std::chrono::seconds>(kFirst * (1 << doublings), kLongest);
}

std::string AddressGroup(const std::string& address) {
    in6_addr parsed{};
    if (inet_pton(AF_INET6, address.c_str(), &parsed) != 1)
        return address;
    char text[INET6_ADDRSTRLEN] = "";
    if (IN6_IS_ADDR_V4MAPPED(&parsed)) {
        inet_ntop(AF_INET, &parsed.s6_addr[12], text, sizeof text);
        return text;
    }
    std::memset(&parsed.s6_addr[kGroupBytes], 0, sizeof parsed - kGroupBytes);
    inet_ntop(AF_INET6, &parsed, text, sizeof text);
    return text;
}

}  // namespace vms::host
