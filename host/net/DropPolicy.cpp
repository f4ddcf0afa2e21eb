#include "host/net/DropPolicy.h"

namespace vms::host {

SendVerdict DropPolicy::Admit(UnitKind kind, size_t bytes, size_t units) {
    const bool overBound = IsOverBound(bytes, units);
    if (overBound && now_() - *overSince_ >= limits_.patience)
        return SendVerdict::kTooSlow;
    if (kind == UnitKind::kOther)
        return overBound ? SendVerdict::kDropped : SendVerdict::kAccepted;
    if (overBound) {
        waitsForKey_ = true;
    } else if (kind == UnitKind::kKeyPicture || (isFresh_ && now_() - begun_ >= limits_.patience)) {
        waitsForKey_ = false;
        isFresh_ = false;
    }
    if (!waitsForKey_)
        return SendVerdict::kAccepted;
    return isFresh_ && !overBound ? SendVerdict::kHeld : SendVerdict::kDropped;
}

void DropPolicy::Begin(bool holds) {
    waitsForKey_ = holds;
    isFresh_ = holds;
    begun_ = now_();
    overSince_.reset();
}

bool DropPolicy::IsOverBound(size_t bytes, size_t units) {
    const bool over = bytes >= limits_.liveBytes || units >= limits_.liveUnits;
    if (!over)
        overSince_.reset();
    else if (!overSince_)
        overSince_ = now_();
    return over;
}

}  // namespace vms::host
