#pragma once

#include <functional>
#include <optional>
#include <string>

#include "host/players/whep/WhepOffer.h"
#include "host/relay/Outlet.h"
#include "platform/Mutex.h"

namespace vms::host {

/// How a stream is coded.
struct WhepStream {
    MediaCodec video = MediaCodec::kUnknown;
    int profile = 0;  ///< first byte of H.264's profile-level-id, 0 = not found
    WhepSound sound = WhepSound::kNone;
};

/// Looks how a live stream is coded: at its first picture, and some of what follows for sound.
class WhepProbe final : public Outlet {
public:
    /// Called once, under the relay's lock: must not wait, nor call the relay.
    using Found = std::function<void(const WhepStream& stream)>;
    using Gone = std::function<void(const std::string& reason)>;

    /// A stream of which so much has come without sound has none, ms.
    static constexpr int32_t kSoundWait = 400;

    WhepProbe(Found found, Gone gone) : found_(std::move(found)), gone_(std::move(gone)) {}

    /// Nobody wants to know any more.
    void Stop() VMS_EXCLUDES(mutex_);

    void Take(const MediaUnit& unit) override VMS_EXCLUDES(mutex_);
    void Tell(const __tagTvCommand&) override {}
    void End(const std::string& reason) override { gone_(reason); }
    OutletCounts Counts() const override VMS_EXCLUDES(mutex_);

private:
    bool Look(const MediaUnit& unit) VMS_REQUIRES(mutex_);

    const Found found_;
    const Gone gone_;
    mutable Mutex mutex_;
    WhepStream stream_ VMS_GUARDED_BY(mutex_);
    std::optional<uint32_t> begun_ VMS_GUARDED_BY(mutex_);  ///< timestamp of the first picture
    bool hasSound_ VMS_GUARDED_BY(mutex_) = false;          ///< of whatever kind
    bool isOver_ VMS_GUARDED_BY(mutex_) = false;
    uint64_t takenUnits_ VMS_GUARDED_BY(mutex_) = 0;
};

/// First byte of the profile-level-id of a picture's sequence parameter set, Annex B. Re-entrant.
/// @return 0 when there is none
int H264Profile(std::string_view picture);

}  // namespace vms::host
