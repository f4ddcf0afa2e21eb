#include "host/api/UnwatchedStreams.h"

#include <algorithm>

namespace vms::host {

uint64_t UnwatchedStreams::Open(const std::string& client) {
    const Clock::time_point now = now_();
    MutexLock lock(mutex_);
    Forget(now);
    const auto ofClient = std::count_if(streams_.begin(), streams_.end(), [&](const auto& stream) {
        return stream.second.client == client;
    });
    if (streams_.size() >= limits_.inAll || static_cast<size_t>(ofClient) >= limits_.perClient)
        return 0;
    streams_.emplace(++last_, Stream{client, "", now});
    return last_;
}

/// Streams may be shared: whoever opens one that is watched has nothing to be counted for, but that
/// is not known here; it is forgotten with the rest.
void UnwatchedStreams::Opened(uint64_t number, const std::string& key) {
    MutexLock lock(mutex_);
    const auto stream = streams_.find(number);
    if (stream == streams_.end())
        return;
    const bool isKnown = std::any_of(streams_.begin(), streams_.end(), [&](const auto& other) {
        return other.first != number && other.second.key == key;
    });
    if (key.empty() || isKnown)
        streams_.erase(stream);
    else
        stream->second.key = key;
}

void UnwatchedStreams::Watched(const std::string& key) {
    MutexLock lock(mutex_);
    std::erase_if(streams_, [&](const auto& stream) { return stream.second.key == key; });
}

void UnwatchedStreams::Forget(Clock::time_point now) {
    while (!streams_.empty() && now - streams_.begin()->second.since >= limits_.lifetime)
        streams_.erase(streams_.begin());
}

}  // namespace vms::host
