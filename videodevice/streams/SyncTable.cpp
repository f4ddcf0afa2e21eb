#include "videodevice/streams/SyncTable.h"

#include <optional>
#include <utility>

namespace vms {

SyncTable::Session SyncTable::FindSession(const std::string& sessionKey) const {
    ReadLock lock(syncMutex_);
    const auto found = syncPlaybackServers_.find(sessionKey);
    return found != syncPlaybackServers_.end() ? found->second : nullptr;
}

bool SyncTable::InsertSession(const std::string& sessionKey, const Session& session) {
    WriteLock lock(syncMutex_);
    return syncPlaybackServers_.try_emplace(sessionKey, session).second;
}

SyncTable::Removal SyncTable::Erase(const std::string& sessionKey) {
    Removal removal;
    WriteLock lock(syncMutex_);
    removal.session = TakeSession(sessionKey);
    const auto channels = syncPlaybackStreams_.find(sessionKey);
    if (channels != syncPlaybackStreams_.end()) {
        for (auto& [channel, stream] : channels->second)
            removal.channels.push_back(std::move(stream));
        syncPlaybackStreams_.erase(channels);
    }
    return removal;
}

bool SyncTable::AttachChannel(const Seat& seat) {
    WriteLock lock(syncMutex_);
    Stream* const stream = IsCurrent(seat) ? Lookup(seat.sessionKey, seat.channel) : nullptr;
    if (stream == nullptr)
        return false;
    (*stream)->clients.Append(seat.connectionId);
    (*stream)->lastActive = seat.now;
    return true;
}

SyncTable::Entry SyncTable::InsertChannel(const Seat& seat, const Stream& stream) {
    WriteLock lock(syncMutex_);
    if (!IsCurrent(seat))
        return Entry::kGone;
    const auto [entry, inserted] =
        syncPlaybackStreams_[seat.sessionKey].try_emplace(seat.channel, stream);
    entry->second->clients.Append(seat.connectionId);
    entry->second->lastActive = seat.now;
    return inserted ? Entry::kInserted : Entry::kJoined;
}

bool SyncTable::TakeChannel(const std::string& sessionKey, int channel, const Stream& stream) {
    WriteLock lock(syncMutex_);
    const Stream* const found = Lookup(sessionKey, channel);
    return found != nullptr && *found == stream && TakeOut(sessionKey, channel) != nullptr;
}

SyncTable::Stream SyncTable::DetachChannel(const std::string& sessionKey, int channel,
                                           long long connectionId) {
    WriteLock lock(syncMutex_);
    Stream* const stream = Lookup(sessionKey, channel);
    if (stream == nullptr)
        return nullptr;
    (*stream)->clients.Remove(connectionId);
    return (*stream)->clients.Empty() ? TakeOut(sessionKey, channel) : nullptr;
}

SyncTable::Removal SyncTable::DropConnection(long long connectionId) {
    Removal removal;
    std::optional<std::string> emptied;
    WriteLock lock(syncMutex_);
    for (auto session = syncPlaybackStreams_.begin(); session != syncPlaybackStreams_.end();) {
        Channels& channels = session->second;
        for (auto channel = channels.begin(); channel != channels.end();) {
            Stream& stream = channel->second;
            if (stream->clients.Remove(connectionId) && stream->clients.Empty()) {
                removal.channels.push_back(std::move(stream));
                channel = channels.erase(channel);
            } else {
                ++channel;
            }
        }
        if (channels.empty()) {
            emptied = session->first;
            session = syncPlaybackStreams_.erase(session);
        } else {
            ++session;
        }
    }
    if (emptied)
        removal.session = TakeSession(*emptied);
    return removal;
}

StreamFeed SyncTable::FeedOf(std::string_view sessionKey, int channel) const {
    StreamFeed feed;
    ReadLock lock(syncMutex_);
    const auto session = syncPlaybackStreams_.find(sessionKey);
    if (session == syncPlaybackStreams_.end())
        return feed;
    const auto found = session->second.find(channel);
    if (found != session->second.end()) {
        feed.stream = found->second;
        feed.clients = found->second->clients.Get();
    }
    return feed;
}

bool SyncTable::TakeIdle(std::string_view sessionKey, int channel, const Stream& stream) {
    WriteLock lock(syncMutex_);
    const Stream* const found = Lookup(sessionKey, channel);
    return found != nullptr && *found == stream && stream->clients.Empty() &&
           TakeOut(sessionKey, channel) != nullptr;
}

std::vector<SyncTable::Removal> SyncTable::TakeAll() {
    std::vector<Removal> all;
    WriteLock lock(syncMutex_);
    for (auto& [key, session] : std::exchange(syncPlaybackServers_, {}))
        all.push_back({session, {}});
    for (auto& [key, channels] : std::exchange(syncPlaybackStreams_, {})) {
        for (auto& [channel, stream] : channels)
            all.push_back({nullptr, {stream}});
    }
    return all;
}

SyncTable::Stream* SyncTable::Lookup(std::string_view sessionKey, int channel) {
    const auto session = syncPlaybackStreams_.find(sessionKey);
    if (session == syncPlaybackStreams_.end())
        return nullptr;
    const auto found = session->second.find(channel);
    return found != session->second.end() ? &found->second : nullptr;
}

SyncTable::Stream SyncTable::TakeOut(std::string_view sessionKey, int channel) {
    const auto session = syncPlaybackStreams_.find(sessionKey);
    const auto found = session->second.find(channel);
    Stream stream = std::move(found->second);
    session->second.erase(found);
    if (session->second.empty())
        syncPlaybackStreams_.erase(session);
    return stream;
}

bool SyncTable::IsCurrent(const Seat& seat) const {
    const auto found = syncPlaybackServers_.find(seat.sessionKey);
    return found != syncPlaybackServers_.end() && found->second == seat.session;
}

SyncTable::Session SyncTable::TakeSession(std::string_view sessionKey) {
    const auto found = syncPlaybackServers_.find(sessionKey);
    if (found == syncPlaybackServers_.end())
        return nullptr;
    Session session = std::move(found->second);
    syncPlaybackServers_.erase(found);
    return session;
}

}  // namespace vms
