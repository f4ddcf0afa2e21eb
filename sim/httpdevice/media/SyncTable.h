#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>

#include "platform/Mutex.h"
#include "sim/httpdevice/media/MediaClock.h"

namespace vms::sim::httpdevice {

/// One synchronous playback: what is constant about it, and its clock.
struct SyncSession {
    std::string token;
    std::string owner;  ///< token of the login session
    int64_t beginMs = 0;
    int64_t endMs = 0;
    int stream = 0;
    int fileType = 0;
    std::shared_ptr<MediaClock> clock;
};

/// The synchronous playbacks of a device. A token dies when nobody has shown interest for 30 s.
/// Safe from several threads; time is the caller's.
class SyncTable {
public:
    using Shared = std::shared_ptr<const SyncSession>;

    /// At most 1,000 live at once. @return false when there are as many
    bool Add(Clock::time_point now, Shared session) VMS_EXCLUDES(mutex_);
    /// Counts as interest. @return null for an unknown token
    Shared Find(Clock::time_point now, const std::string& token) VMS_EXCLUDES(mutex_);
    bool Remove(const std::string& token) VMS_EXCLUDES(mutex_);

    void AddChannels(const std::string& token, const std::set<int>& channels) VMS_EXCLUDES(mutex_);
    void RemoveChannels(const std::string& token, const std::set<int>& channels)
        VMS_EXCLUDES(mutex_);
    bool HasChannel(const std::string& token, int channel) const VMS_EXCLUDES(mutex_);
    size_t size() const VMS_EXCLUDES(mutex_);

private:
    struct Entry {
        Shared session;
        std::set<int> channels;
        Clock::time_point seen;
    };

    void Purge(Clock::time_point now) VMS_REQUIRES(mutex_);

    mutable Mutex mutex_;
    std::map<std::string, Entry> entries_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::sim::httpdevice
