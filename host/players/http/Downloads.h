#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <tuple>
#include <vector>

#include "host/http/HttpExchange.h"
#include "host/players/PlayerContext.h"
#include "host/players/http/Download.h"
#include "host/players/http/DownloadPlayer.h"
#include "host/players/http/MediaTarget.h"
#include "host/stream/Lanes.h"
#include "platform/Mutex.h"

namespace vms::host {

struct SpoolSettings {
    std::filesystem::path folder = "/var/tmp";
    uint64_t bytes = uint64_t{8} << 30;  ///< of all downloads that are kept
};

/// Recordings as files. What one client asks for is kept for others who ask for the same, and for
/// himself when he comes again for the rest, until nobody has for a few minutes; where the room is
/// used up the one that has been unused for the longest time goes. Thread-safe.
class Downloads {
public:
    using Clock = std::chrono::steady_clock;

    /// So long one that nobody reads is kept.
    static constexpr std::chrono::minutes kKeep{5};
    /// As many may be on their way from devices at a time.
    static constexpr int kMostGrowing = 8;
    /// As many are kept.
    static constexpr size_t kMost = 64;
    /// Longest range of one, s.
    static constexpr int kLongest = 6 * 3600;

    /// @param context must outlive this object
    Downloads(PlayerContext& context, SpoolSettings settings);
    ~Downloads();
    Downloads(const Downloads&) = delete;
    Downloads& operator=(const Downloads&) = delete;

    void Answer(const HttpRequest& request, const StreamAddress& address, const MediaRange& range,
                std::shared_ptr<HttpReply> reply) VMS_EXCLUDES(mutex_);

    /// To be called now and then.
    void Sweep(Clock::time_point now) VMS_EXCLUDES(mutex_);

    /// Takes nothing from devices any more.
    void Stop() VMS_EXCLUDES(mutex_);

private:
    using Key = std::tuple<std::string, int, int, int32_t, int32_t>;

    struct Entry {
        std::shared_ptr<Download> download;
        int readers = 0;
        Clock::time_point lastUse{};

        bool IsUnused() const { return readers == 0; }
    };

    std::shared_ptr<Download> Use(const PlaybackRequest& request, bool mayBegin,
                                  SourceProblem& problem) VMS_EXCLUDES(mutex_);
    std::shared_ptr<Download> Make(const PlaybackRequest& request, SourceProblem& problem)
        VMS_REQUIRES(mutex_);
    void Left(const Key& key, const Download& download) VMS_EXCLUDES(mutex_);
    bool DropOldest() VMS_EXCLUDES(mutex_);
    std::shared_ptr<Download> TakeOldest() VMS_REQUIRES(mutex_);

    PlayerContext& context_;
    const SpoolSettings settings_;
    SpoolRoom room_;
    Lanes lanes_;
    Mutex mutex_;
    std::map<Key, Entry> entries_ VMS_GUARDED_BY(mutex_);
    std::vector<std::shared_ptr<DownloadPlayer>> waiting_ VMS_GUARDED_BY(mutex_);
    bool stopped_ VMS_GUARDED_BY(mutex_) = false;
};

}  // namespace vms::host
