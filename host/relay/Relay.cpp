#include "host/relay/Relay.h"

#include <utility>

namespace vms::host {

Relay::Relay(long long number, std::string key, const GopLimits& limits, Now now)
    : number_(number), key_(std::move(key)), now_(now), group_(limits), lastUnit_(now()) {}

void Relay::BeginGreeting() {
    MutexLock lock(mutex_);
    greeter_ = std::this_thread::get_id();
}

void Relay::EndGreeting() {
    MutexLock lock(mutex_);
    greeter_ = {};
}

void Relay::Prime(Outlet& outlet) {
    for (const MediaUnit& unit : group_.Items())
        outlet.Take(unit);
}

void Relay::End(const std::string& reason) {
    MutexLock lock(mutex_);
    for (const auto& [kind, outlet] : outlets_)
        outlet->End(reason);
}

Relay::Clock::duration Relay::Silence() const {
    MutexLock lock(mutex_);
    return now_() - lastUnit_;
}

OutletCounts Relay::Counts() const {
    MutexLock lock(mutex_);
    OutletCounts counts{0, takenUnits_};
    for (const auto& [kind, outlet] : outlets_)
        counts.clients += outlet->Counts().clients;
    return counts;
}

bool Relay::SendUnit(std::string_view bytes, bool /*isPlayback*/) {
    const MediaUnit unit = MediaUnit::Copy(bytes);
    MutexLock lock(mutex_);
    lastUnit_ = now_();
    ++takenUnits_;
    const bool isGreeting = greeter_ == std::this_thread::get_id();
    if (isGreeting)
        group_.OpenIfEmpty(lastUnit_);  // nobody is there yet to take it
    if (!(isGreeting ? Greet(unit) : MayPass(unit)))
        return true;
    group_.Add(unit, unit.Kind(), unit.Header().timestampMs, unit.Bytes().size(), lastUnit_);
    for (const auto& [kind, outlet] : outlets_)
        outlet->Take(unit);
    return true;
}

bool Relay::SendCommand(const __tagTvCommand& command) {
    MutexLock lock(mutex_);
    for (const auto& [kind, outlet] : outlets_)
        outlet->Tell(command);
    return true;
}

/// @return whether the unit goes on: live pictures that overtook it are newer
bool Relay::Greet(const MediaUnit& unit) {
    if (unit.Kind() == UnitKind::kOther)
        return true;
    if (takenUnits_ > 1 && pictures_ == Pictures::kFlow)
        return false;
    pictures_ = Pictures::kGreeted;
    greetingSerial_ = unit.Header().serial;
    nextSerial_ = greetingSerial_ + 1;
    return true;
}

bool Relay::MayPass(const MediaUnit& unit) {
    if (pictures_ == Pictures::kFlow)
        return true;
    const MediaUnitHeader& header = unit.Header();
    const bool isPicture = unit.Kind() != UnitKind::kOther;
    if (pictures_ == Pictures::kGreeted) {
        if (unit.Kind() == UnitKind::kKeyPicture && header.serial == greetingSerial_)
            return false;  // the same one again, on its ordinary way
        if (header.serial == nextSerial_)
            ++nextSerial_;
        else if (isPicture)
            pictures_ = Pictures::kHeld;
        heldSince_ = lastUnit_;
    }
    if (!isPicture)
        return true;
    if (pictures_ == Pictures::kHeld && unit.Kind() != UnitKind::kKeyPicture &&
        lastUnit_ - heldSince_ < kLongestHold)
        return false;
    pictures_ = Pictures::kFlow;
    return true;
}

}  // namespace vms::host
