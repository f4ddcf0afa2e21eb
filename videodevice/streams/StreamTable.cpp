#include "videodevice/streams/StreamTable.h"

#include <algorithm>
#include <utility>

namespace vms {
namespace {

constexpr int64_t kReuseSeconds = 2;  // a live stream silent for this long is replaced

bool IsFresh(const StreamInfo& stream, int64_t now) {
    return now - stream.lastActive < kReuseSeconds && !stream.clients.Empty();
}

}  // namespace

StreamInfo* StreamTable::Lookup(const std::string& key) const {
    const auto found = streamTable_.find(key);
    return found != streamTable_.end() ? found->second.get() : nullptr;
}

StreamTable::Stream StreamTable::Find(const std::string& key) const {
    ReadLock lock(streamMutex_);
    const auto found = streamTable_.find(key);
    return found != streamTable_.end() ? found->second : nullptr;
}

StreamTable::Stream StreamTable::Insert(const Stream& stream) {
    KeyFrame frame;
    WriteLock lock(streamMutex_);
    Stream displaced = std::exchange(streamTable_[stream->key], stream);
    if (displaced != nullptr)
        frame = TakeKeyFrame(stream->key);
    return displaced;
}

StreamTable::LiveMatch StreamTable::MatchLive(const std::string& deviceId, int channel,
                                              int streamType, int64_t now) {
    KeyFrame frame;
    LiveMatch match;
    WriteLock lock(streamMutex_);
    const auto found = std::find_if(streamTable_.begin(), streamTable_.end(), [&](auto& entry) {
        const StreamInfo& stream = *entry.second;
        return stream.previewServer != nullptr && stream.channel == channel &&
               stream.streamType == streamType && stream.deviceId == deviceId;
    });
    if (found == streamTable_.end())
        return match;
    if (IsFresh(*found->second, now)) {
        found->second->lastActive = now;
        match.reusable = found->second;
    } else {
        match.stale = TakeOut(found, frame);
    }
    return match;
}

StreamTable::Attachment StreamTable::Attach(const std::string& key, long long connectionId,
                                            const KeyFrame& sent, bool settle) {
    Attachment attachment;
    WriteLock lock(streamMutex_);
    const auto found = streamTable_.find(key);
    if (found == streamTable_.end())
        return attachment;
    attachment.stream = found->second;
    const auto cached = keyFrameCache_.find(key);
    if (!settle && cached != keyFrameCache_.end() && cached->second != sent)
        attachment.keyFrame = cached->second;
    else
        found->second->clients.Append(connectionId);
    return attachment;
}

bool StreamTable::Detach(const std::string& key, long long connectionId) {
    WriteLock lock(streamMutex_);
    StreamInfo* const stream = Lookup(key);
    if (stream != nullptr)
        stream->clients.Remove(connectionId);
    return stream != nullptr;
}

StreamTable::Takeover StreamTable::TakeOver(const std::string& key, long long connectionId,
                                            int beginTime, int endTime) {
    Takeover takeover;
    WriteLock lock(streamMutex_);
    const auto found = streamTable_.find(key);
    if (found == streamTable_.end())
        return takeover;
    StreamInfo& stream = *found->second;
    stream.clients.Assign(connectionId);
    if (beginTime <= 0 || endTime <= 0 || stream.playbackServer == nullptr)
        return takeover;
    takeover.stream = found->second;
    takeover.firstStart = stream.beginTime <= 0 || stream.endTime <= 0;
    stream.beginTime = beginTime;
    stream.endTime = endTime;
    return takeover;
}

StreamTable::Stream StreamTable::TakePlaybackOf(long long connectionId) {
    KeyFrame frame;
    WriteLock lock(streamMutex_);
    const auto owned = std::find_if(streamTable_.begin(), streamTable_.end(), [&](auto& entry) {
        const StreamInfo& stream = *entry.second;
        return stream.streamKind == StreamInfo::kPlayback && !stream.clients.Empty() &&
               stream.clients.Front() == connectionId;
    });
    return owned != streamTable_.end() ? TakeOut(owned, frame) : nullptr;
}

StreamFeed StreamTable::FeedOf(const std::string& key) const {
    StreamFeed feed;
    ReadLock lock(streamMutex_);
    const auto found = streamTable_.find(key);
    if (found != streamTable_.end()) {
        feed.stream = found->second;
        feed.clients = found->second->clients.Get();
    }
    return feed;
}

void StreamTable::DetachFailed(const Stream& stream, const std::vector<long long>& connectionIds) {
    WriteLock lock(streamMutex_);
    if (Lookup(stream->key) != stream.get())
        return;
    for (const long long connectionId : connectionIds)
        stream->clients.Remove(connectionId);
}

bool StreamTable::TakeIdle(const Stream& stream) {
    KeyFrame frame;
    WriteLock lock(streamMutex_);
    const auto found = streamTable_.find(stream->key);
    if (found == streamTable_.end() || found->second != stream || !stream->clients.Empty())
        return false;
    return TakeOut(found, frame) != nullptr;
}

void StreamTable::StoreKeyFrame(const std::string& key, KeyFrame frame) {
    WriteLock lock(streamMutex_);
    frame.swap(keyFrameCache_[key]);  // the parameter outlives the lock
}

void StreamTable::ForgetKeyFrame(const std::string& key) {
    KeyFrame frame;
    WriteLock lock(streamMutex_);
    if (Lookup(key) == nullptr)
        frame = TakeKeyFrame(key);
}

void StreamTable::WithLocked(const std::string& key, const std::function<void(StreamInfo&)>& work) {
    WriteLock lock(streamMutex_);
    StreamInfo* const stream = Lookup(key);
    if (stream != nullptr)
        work(*stream);
}

std::vector<StreamTable::Stream> StreamTable::TakeAll() {
    std::vector<Stream> all;
    KeyFrames frames;
    WriteLock lock(streamMutex_);
    for (auto& [key, stream] : streamTable_)
        all.push_back(std::move(stream));
    streamTable_.clear();
    frames.swap(keyFrameCache_);
    return all;
}

StreamTable::Stream StreamTable::TakeOut(Streams::iterator entry, KeyFrame& frame) {
    frame = TakeKeyFrame(entry->first);
    Stream stream = std::move(entry->second);
    streamTable_.erase(entry);
    return stream;
}

StreamTable::KeyFrame StreamTable::TakeKeyFrame(const std::string& key) {
    KeyFrame frame;
    const auto found = keyFrameCache_.find(key);
    if (found != keyFrameCache_.end()) {
        frame = std::move(found->second);
        keyFrameCache_.erase(found);
    }
    return frame;
}

}  // namespace vms
