#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ThreadAnnotations.h"
#include "videodevice/ISyncPlaybackServer.h"
#include "videodevice/streams/ReadMostlyMutex.h"
#include "videodevice/streams/StreamFeed.h"
#include "videodevice/streams/StreamInfo.h"

namespace vms {

/// The synchronous-playback sessions by session key, and the channel streams that players have
/// attached to. Thread-safe; nothing is called, sent or destroyed under the lock. What an operation
/// takes out it returns, and the caller retires it.
class SyncTable {
public:
    using Session = std::shared_ptr<ISyncPlaybackServer>;
    using Stream = std::shared_ptr<StreamInfo>;

    /// Null when there is no such session.
    Session FindSession(const std::string& sessionKey) const VMS_EXCLUDES(syncMutex_);

    /// @return false when the key is taken: somebody else was faster
    [[nodiscard]] bool InsertSession(const std::string& sessionKey, const Session& session)
        VMS_EXCLUDES(syncMutex_);

    struct Removal {
        Session session;               ///< null when none was taken out
        std::vector<Stream> channels;  ///< in channel order
    };
    /// Takes out a session with all its channels.
    [[nodiscard]] Removal Erase(const std::string& sessionKey) VMS_EXCLUDES(syncMutex_);

    /// Where a player wants to watch.
    struct Seat {
        const std::string& sessionKey;
        const Session& session;
        int channel;
        long long connectionId;
        int64_t now;
    };
    /// Attaches to a channel that is being played. @return false when it is not
    bool AttachChannel(const Seat& seat) VMS_EXCLUDES(syncMutex_);

    enum class Entry {
        kInserted,  ///< the caller starts its stream
        kJoined,    ///< somebody else was faster: attached there, the caller drops its stream
        kGone,      ///< the session has ended meanwhile
    };
    [[nodiscard]] Entry InsertChannel(const Seat& seat, const Stream& stream)
        VMS_EXCLUDES(syncMutex_);

    /// Takes out this very stream, whoever watches it. @return whether it did
    [[nodiscard]] bool TakeChannel(const std::string& sessionKey, int channel, const Stream& stream)
        VMS_EXCLUDES(syncMutex_);

    /// Detaches a connection. @return the channel's stream, taken out, if that was its last client
    [[nodiscard]] Stream DetachChannel(const std::string& sessionKey, int channel,
                                       long long connectionId) VMS_EXCLUDES(syncMutex_);

    /// Detaches a connection from everything: takes out the channels that it watched last, and the
    /// session that has lost its last channel thereby (of several, the last by key).
    [[nodiscard]] Removal DropConnection(long long connectionId) VMS_EXCLUDES(syncMutex_);

    StreamFeed FeedOf(std::string_view sessionKey, int channel) const VMS_EXCLUDES(syncMutex_);

    /// Takes out this very stream if it still has no client. @return whether it did
    [[nodiscard]] bool TakeIdle(std::string_view sessionKey, int channel, const Stream& stream)
        VMS_EXCLUDES(syncMutex_);

    [[nodiscard]] std::vector<Removal> TakeAll() VMS_EXCLUDES(syncMutex_);

private:
    using Channels = std::map<int, Stream>;
    // Looked up by views, so that a composite key need not be cut into texts.
    using Sessions = std::map<std::string, Session, std::less<>>;
    using SessionChannels = std::map<std::string, Channels, std::less<>>;

    /// Null when there is no such channel.
    Stream* Lookup(std::string_view sessionKey, int channel) VMS_REQUIRES(syncMutex_);
    /// Takes a channel out, and its session's entry with the last one.
    Stream TakeOut(std::string_view sessionKey, int channel) VMS_REQUIRES(syncMutex_);
    bool IsCurrent(const Seat& seat) const VMS_REQUIRES(syncMutex_);
    Session TakeSession(std::string_view sessionKey) VMS_REQUIRES(syncMutex_);

    mutable ReadMostlyMutex syncMutex_;
    Sessions syncPlaybackServers_ VMS_GUARDED_BY(syncMutex_);
    SessionChannels syncPlaybackStreams_ VMS_GUARDED_BY(syncMutex_);
};

}  // namespace vms
