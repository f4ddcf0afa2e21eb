#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/ThreadAnnotations.h"
#include "videodevice/streams/ReadMostlyMutex.h"
#include "videodevice/streams/StreamFeed.h"
#include "videodevice/streams/StreamInfo.h"

namespace vms {

/// The live, playback and download streams by key, and the latest key frame of each.
///
/// Thread-safe. Nothing is called, sent or destroyed under the lock: operations hand records out
/// and the caller acts on them. An operation that takes a stream out returns it; the caller retires
/// it. A stream goes out of service once only: whoever took it out retires it.
class StreamTable {
public:
    using Stream = std::shared_ptr<StreamInfo>;
    using KeyFrame = std::shared_ptr<const std::string>;

    /// Null when there is no such stream.
    Stream Find(const std::string& key) const VMS_EXCLUDES(streamMutex_);

    /// @return the stream that had the same key, to be retired, or null
    [[nodiscard]] Stream Insert(const Stream& stream) VMS_EXCLUDES(streamMutex_);

    // Live preview.

    struct LiveMatch {
        Stream reusable;  ///< delivers to somebody; has been marked active
        Stream stale;     ///< taken out because it was silent or nobody watched it
    };
    /// Looks for a live stream of a device's channel; at most one of the two is set.
    [[nodiscard]] LiveMatch MatchLive(const std::string& deviceId, int channel, int streamType,
                                      int64_t now) VMS_EXCLUDES(streamMutex_);

    // Players.

    struct Attachment {
        Stream stream;      ///< null: no such stream
        KeyFrame keyFrame;  ///< to be sent before the next attempt; null: attached
    };
    /// Attaches a connection if the stream's key frame is still the one it has been sent (null:
    /// none yet); otherwise only hands out the current one. So no media unit overtakes it.
    /// @param settle attach in any case: the source makes key frames faster than they can be sent
    Attachment Attach(const std::string& key, long long connectionId, const KeyFrame& sent,
                      bool settle) VMS_EXCLUDES(streamMutex_);

    /// Detaches every occurrence. @return whether the stream exists
    bool Detach(const std::string& key, long long connectionId) VMS_EXCLUDES(streamMutex_);

    struct Takeover {
        Stream stream;            ///< null: no such stream, or it cannot be played
        bool firstStart = false;  ///< no range has been played before
    };
    /// Makes a connection the only one of a stream and, if both times are positive and there is a
    /// playback source, notes the range it is about to be started with.
    Takeover TakeOver(const std::string& key, long long connectionId, int beginTime, int endTime)
        VMS_EXCLUDES(streamMutex_);

    /// Takes out the first playback stream that a connection owns; null when there is none.
    [[nodiscard]] Stream TakePlaybackOf(long long connectionId) VMS_EXCLUDES(streamMutex_);

    // Media path.

    StreamFeed FeedOf(const std::string& key) const VMS_EXCLUDES(streamMutex_);

    /// Detaches connections if the table still holds this very stream.
    void DetachFailed(const Stream& stream, const std::vector<long long>& connectionIds)
        VMS_EXCLUDES(streamMutex_);

    /// Takes out this very stream if it still has no client. @return whether it did
    [[nodiscard]] bool TakeIdle(const Stream& stream) VMS_EXCLUDES(streamMutex_);

    /// Frames of unknown keys are kept too: a source may deliver before its stream is entered.
    void StoreKeyFrame(const std::string& key, KeyFrame frame) VMS_EXCLUDES(streamMutex_);

    /// Forgets a key frame unless a stream is in service under that key.
    void ForgetKeyFrame(const std::string& key) VMS_EXCLUDES(streamMutex_);

    // Rest.

    /// Runs `work` on a stream with the table locked, so that no callback of its source meets it
    /// half changed. `work` may take the device lock or a retirement lock and must destroy nothing.
    void WithLocked(const std::string& key, const std::function<void(StreamInfo&)>& work)
        VMS_EXCLUDES(streamMutex_);

    [[nodiscard]] std::vector<Stream> TakeAll() VMS_EXCLUDES(streamMutex_);

private:
    using Streams = std::map<std::string, Stream>;
    using KeyFrames = std::map<std::string, KeyFrame>;

    /// Both keep what they remove alive in their result, so that it is destroyed unlocked.
    [[nodiscard]] Stream TakeOut(Streams::iterator entry, KeyFrame& frame)
        VMS_REQUIRES(streamMutex_);
    [[nodiscard]] KeyFrame TakeKeyFrame(const std::string& key) VMS_REQUIRES(streamMutex_);
    StreamInfo* Lookup(const std::string& key) const VMS_REQUIRES(streamMutex_);

    mutable ReadMostlyMutex streamMutex_;
    Streams streamTable_ VMS_GUARDED_BY(streamMutex_);
    KeyFrames keyFrameCache_ VMS_GUARDED_BY(streamMutex_);
};

}  // namespace vms
