#include "host/players/http/MediaOutlet.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "host/net/Connection.h"

namespace vms::host {

void MediaOutlet::Admit(const std::shared_ptr<Newcomer>& newcomer) {
    MutexLock lock(mutex_);
    if (!Settle(*newcomer))
        waiting_.push_back(newcomer);
    DropUnwatched();
}

bool MediaOutlet::Withdraw(const Newcomer& newcomer) {
    MutexLock lock(mutex_);
    const size_t taken =
        std::erase_if(waiting_, [&](const auto& waiting) { return waiting.get() == &newcomer; });
    DropUnwatched();
    return taken > 0;
}

void MediaOutlet::Leave(const Connection& client) {
    MutexLock lock(mutex_);
    for (const auto& container : containers_) {
        if (container != nullptr)
            container->Leave(client);
    }
    DropUnwatched();
}

void MediaOutlet::Take(const MediaUnit& unit) {
    MutexLock lock(mutex_);
    ++takenUnits_;
    units_.clear();
    if (SoundTranscoder::Takes(unit)) {
        Expect(transcoder_.ConfigFor(unit));
        transcoder_.Take(unit, units_);
    } else {
        units_.push_back(unit);
    }
    for (const MediaUnit& one : units_)
        Spread(one);
    units_.clear();  // lets go of their bytes
}

/// Sound takes a while to become AAC: who waits for its kind need not wait for that.
void MediaOutlet::Expect(const std::optional<AacConfig>& sound) {
    if (!sound || sound == expected_)
        return;
    expected_ = sound;
    for (const auto& container : containers_) {
        if (container != nullptr)
            container->Expect(*sound);
    }
}

void MediaOutlet::Spread(const MediaUnit& unit) {
    if (unit.Kind() != UnitKind::kOther)
        pictures_ = unit.Header().Codec();
    group_.Add(unit, unit.Kind(), unit.Header().timestampMs, unit.Bytes().size(),
               std::chrono::steady_clock::now());
    for (const auto& container : containers_) {
        if (container != nullptr)
            container->Take(unit);
    }
    if (!waiting_.empty())
        SettleWaiting();
}

/// The outlet of a container; a new one is given the newest group.
ContainerOutlet& MediaOutlet::Open(LiveContainer container) {
    auto& outlet = containers_.at(static_cast<size_t>(container));
    if (outlet == nullptr) {
        outlet = std::make_unique<ContainerOutlet>(bursts_, container);
        if (expected_)
            outlet->Expect(*expected_);
        for (const MediaUnit& unit : group_.Items())
            outlet->Take(unit);
    }
    return *outlet;
}

/// @return whether the newcomer need not wait any longer, one way or another
bool MediaOutlet::Settle(Newcomer& newcomer) {
    if (pictures_ != MediaCodec::kUnknown && !LiveMuxer::HoldsPictures(pictures_)) {
        newcomer.Refuse({415, std::string("the pictures are ") + CodecName(pictures_) +
                                  ", which this container does not hold"});
        return true;
    }
    ContainerOutlet& outlet = Open(newcomer.Container());
    if (!outlet.IsReady())
        return false;
    if (const auto connection = newcomer.Begin()) {
        outlet.Join(connection);
        connection->FlushHere();
    }
    return true;
}

void MediaOutlet::SettleWaiting() {
    std::erase_if(waiting_,
                  [this](const auto& newcomer) VMS_REQUIRES(mutex_) { return Settle(*newcomer); });
}

void MediaOutlet::DropUnwatched() {
    for (size_t i = 0; i < kContainers; ++i) {
        const bool isAwaited = std::any_of(
            waiting_.begin(), waiting_.end(),
            [i](const auto& newcomer) { return static_cast<size_t>(newcomer->Container()) == i; });
        auto& container = containers_.at(i);
        if (container != nullptr && !isAwaited && container->Counts().clients == 0)
            container = nullptr;
    }
}

void MediaOutlet::End(const std::string& reason) {
    MutexLock lock(mutex_);
    for (const auto& newcomer : std::exchange(waiting_, {}))
        newcomer->Refuse({503, reason});
    for (const auto& container : containers_) {
        if (container != nullptr)
            container->End(reason);
    }
}

OutletCounts MediaOutlet::Counts() const {
    MutexLock lock(mutex_);
    OutletCounts counts{waiting_.size(), takenUnits_};
    for (const auto& container : containers_)
        counts.clients += container == nullptr ? 0 : container->Counts().clients;
    return counts;
}

}  // namespace vms::host
