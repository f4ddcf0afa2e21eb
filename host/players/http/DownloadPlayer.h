#pragma once

#include <chrono>
#include <ctime>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "host/http/ByteRange.h"
#include "host/http/HttpExchange.h"
#include "host/players/PlayerCard.h"
#include "host/players/PlayerContext.h"
#include "host/players/PlayerTable.h"
#include "host/players/http/Download.h"
#include "platform/Mutex.h"

namespace vms::host {

/// One client of a download, from its request to its end: gets the file as it grows, or a part of
/// it. Thread-safe.
class DownloadPlayer final : public Player, public std::enable_shared_from_this<DownloadPlayer> {
public:
    using Clock = std::chrono::steady_clock;

    /// So long it waits for the first bytes.
    static constexpr std::chrono::seconds kPatience{15};
    /// Whoever wants a part of a file that still grows waits so long for all of it, then gets what
    /// is there: only then is it known where the part ends.
    static constexpr std::chrono::seconds kRangePatience{20};

    /// @param context, lanes must outlive this object
    /// @param left called once, when it needs the download no more; any thread, must not wait
    DownloadPlayer(PlayerContext& context, Lanes& lanes, const HttpRequest& request,
                   std::shared_ptr<HttpReply> reply, std::shared_ptr<Download> download,
                   std::function<void()> left);
    ~DownloadPlayer() override;

    /// Everything else follows.
    void Start();

    /// Gives up waiting once the patience is over; to be called now and then.
    /// @return whether it waits no longer
    bool Sweep(Clock::time_point now);

    long long Number() const override { return card_.number; }
    PlayerInfo Describe() const override VMS_EXCLUDES(mutex_);
    SendCounts Counts() const override VMS_EXCLUDES(mutex_);
    void Close(const std::string& reason) override VMS_EXCLUDES(mutex_);

private:
    class Body;

    enum class State { kWaiting, kAnswered, kOver };

    void Look(bool isImpatient = false) VMS_EXCLUDES(mutex_);
    bool CanAnswer(const Download::Progress& progress, bool isImpatient) const;
    void Answer(const Download::Progress& progress) VMS_EXCLUDES(mutex_);
    HttpResponse Head() const;
    void Pull(uint64_t offset, uint64_t end, HttpBody::Sink sink) VMS_EXCLUDES(mutex_);
    void Read(uint64_t offset, uint64_t end, const HttpBody::Sink& sink) VMS_EXCLUDES(mutex_);
    void BreakOff(const char* why, const HttpBody::Sink& sink);
    void Leave() VMS_EXCLUDES(mutex_);

    PlayerContext& context_;
    const std::shared_ptr<Lane> lane_;
    const std::shared_ptr<HttpReply> reply_;
    const std::shared_ptr<Download> download_;
    const std::function<void()> left_;
    const std::optional<ByteRange> range_;
    const PlayerCard card_;
    const Clock::time_point begun_;

    mutable Mutex mutex_;
    State state_ VMS_GUARDED_BY(mutex_) = State::kWaiting;
    SendCounts counts_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::host
