#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/players/http/ContainerOutlet.h"
#include "host/relay/GopCache.h"
#include "host/relay/Outlet.h"
#include "host/sources/SourceProblem.h"
#include "media/audio/SoundTranscoder.h"
#include "platform/Mutex.h"

namespace vms::host {

class Connection;

/// Who wants to watch a live stream, until the stream can be had in his container. Called under the
/// relay's lock: must not wait, nor call the relay.
class Newcomer {
public:
    virtual ~Newcomer() = default;
    Newcomer(const Newcomer&) = delete;
    Newcomer& operator=(const Newcomer&) = delete;

    /// Constant.
    virtual LiveContainer Container() const = 0;

    /// It can be had now. @return where its bytes go, null = nobody takes them
    virtual std::shared_ptr<Connection> Begin() = 0;

    /// It cannot be had.
    virtual void Refuse(const SourceProblem& problem) = 0;

protected:
    Newcomer() = default;
};

/// The players of a live stream over HTTP. Telephone sound becomes AAC once for all of them;
/// a container is written as long as somebody watches it, and begins with the newest group.
class MediaOutlet final : public Outlet {
public:
    static constexpr char kKind[] = "http";

    /// @param bursts must outlive the outlet
    explicit MediaOutlet(Bursts& bursts) : bursts_(bursts) {}

    /// Lets somebody in, at once or as soon as there is a picture he can begin with. One whose
    /// container cannot hold the stream is refused. He is then a client like others.
    void Admit(const std::shared_ptr<Newcomer>& newcomer) VMS_EXCLUDES(mutex_);

    /// @return whether he was still waiting
    bool Withdraw(const Newcomer& newcomer) VMS_EXCLUDES(mutex_);
    void Leave(const Connection& client) VMS_EXCLUDES(mutex_);

    void Take(const MediaUnit& unit) override VMS_EXCLUDES(mutex_);
    void Tell(const __tagTvCommand&) override {}
    void End(const std::string& reason) override VMS_EXCLUDES(mutex_);
    OutletCounts Counts() const override VMS_EXCLUDES(mutex_);

private:
    static constexpr size_t kContainers = 2;

    void Expect(const std::optional<AacConfig>& sound) VMS_REQUIRES(mutex_);
    void Spread(const MediaUnit& unit) VMS_REQUIRES(mutex_);
    ContainerOutlet& Open(LiveContainer container) VMS_REQUIRES(mutex_);
    bool Settle(Newcomer& newcomer) VMS_REQUIRES(mutex_);
    void SettleWaiting() VMS_REQUIRES(mutex_);
    void DropUnwatched() VMS_REQUIRES(mutex_);

    Bursts& bursts_;
    mutable Mutex mutex_;
    SoundTranscoder transcoder_ VMS_GUARDED_BY(mutex_);
    std::optional<AacConfig> expected_ VMS_GUARDED_BY(mutex_);  ///< of the transcoder
    std::vector<MediaUnit> units_
        VMS_GUARDED_BY(mutex_);  ///< that one has become; keeps its memory
    GopCache<MediaUnit> group_ VMS_GUARDED_BY(mutex_);
    MediaCodec pictures_ VMS_GUARDED_BY(mutex_) = MediaCodec::kUnknown;
    /// By LiveContainer; null = nobody watches it.
    std::array<std::unique_ptr<ContainerOutlet>, kContainers> containers_ VMS_GUARDED_BY(mutex_);
    std::vector<std::shared_ptr<Newcomer>> waiting_ VMS_GUARDED_BY(mutex_);
    uint64_t takenUnits_ VMS_GUARDED_BY(mutex_) = 0;
};

}  // namespace vms::host
