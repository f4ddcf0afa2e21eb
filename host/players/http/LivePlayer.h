#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "host/http/HttpExchange.h"
#include "host/players/PlayerCard.h"
#include "host/players/PlayerContext.h"
#include "host/players/PlayerTable.h"
#include "host/players/http/MediaOutlet.h"
#include "host/sources/LiveStreams.h"
#include "platform/Mutex.h"

namespace vms::host {

/// One player of a live stream over HTTP, from its request to its end. Thread-safe.
class LivePlayer final : public Player,
                         public Newcomer,
                         public std::enable_shared_from_this<LivePlayer> {
public:
    using Clock = std::chrono::steady_clock;

    /// So long it waits for the stream's first picture.
    static constexpr std::chrono::seconds kPatience{10};

    /// @param context must outlive this object
    LivePlayer(PlayerContext& context, const HttpRequest& request, std::shared_ptr<HttpReply> reply,
               StreamAddress address, LiveContainer container);

    /// Asks for the stream; everything else follows.
    void Start();

    /// Gives up waiting for a picture once the patience is over; to be called now and then.
    /// @return whether it waits no longer
    bool Sweep(Clock::time_point now) VMS_EXCLUDES(mutex_);

    long long Number() const override { return card_.number; }
    PlayerInfo Describe() const override VMS_EXCLUDES(mutex_);
    SendCounts Counts() const override VMS_EXCLUDES(mutex_);
    void Close(const std::string& reason) override VMS_EXCLUDES(mutex_);

    LiveContainer Container() const override { return container_; }
    std::shared_ptr<Connection> Begin() override VMS_EXCLUDES(mutex_);
    void Refuse(const SourceProblem& problem) override VMS_EXCLUDES(mutex_);

private:
    enum class State { kAsking, kWaiting, kWatching, kOver };

    void Opened(const std::shared_ptr<LiveShare>& share, const SourceProblem& problem)
        VMS_EXCLUDES(mutex_);
    void Leave() VMS_EXCLUDES(mutex_);
    bool Finish() VMS_EXCLUDES(mutex_);
    std::shared_ptr<Connection> Connected() const VMS_EXCLUDES(mutex_);
    template <class Use>
    void WithOutlet(LiveShare& share, Use use);

    PlayerContext& context_;
    const std::shared_ptr<HttpReply> reply_;
    const PlayerCard card_;
    const LiveContainer container_;
    const Clock::time_point begun_;

    mutable Mutex mutex_;
    State state_ VMS_GUARDED_BY(mutex_) = State::kAsking;
    std::shared_ptr<LiveShare> share_ VMS_GUARDED_BY(mutex_);
    std::shared_ptr<Connection> connection_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::host
