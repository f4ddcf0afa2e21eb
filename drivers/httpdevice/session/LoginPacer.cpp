#include "drivers/httpdevice/session/LoginPacer.h"

#include <algorithm>

namespace vms::httpdevice {
namespace {

using Kind = LoginOutcome::Kind;
using std::chrono::milliseconds;

constexpr milliseconds kRefusedPause{5000};
constexpr milliseconds kFirstPause{1000};
constexpr milliseconds kLongestPause{60'000};
constexpr milliseconds kUnreachablePause{500};
constexpr std::chrono::seconds kLongSession{10};
constexpr int kMaxDoublings = 6;

milliseconds Doubled(milliseconds pause, int times) {
    return std::min(pause * (1 << std::min(times, kMaxDoublings)), kLongestPause);
}

/// One more of a kind. @return how many there were before, bounded
int CountUp(int& count) {
    const int before = count;
    count = std::min(count + 1, 1000);
    return before;
}

}  // namespace

void LoginPacer::OnLogin(Kind kind, Clock::time_point now) {
    switch (kind) {
        case Kind::kDone:
            refused_ = silent_ = 0;
            since_ = now;
            return;
        case Kind::kUnreachable:  // who is down is looked after without logins
            next_ = now + kUnreachablePause;
            return;
        case Kind::kFellSilent:
            next_ = now + Doubled(kFirstPause, CountUp(silent_));
            return;
        case Kind::kRefused:
            next_ = now + Doubled(kRefusedPause, CountUp(refused_));
            return;
    }
}

void LoginPacer::OnSessionLost(Clock::time_point now) {
    if (now - since_ >= kLongSession)
        lost_ = 0;
    const int before = CountUp(lost_);
    if (before > 0)
        next_ = now + Doubled(kFirstPause, before - 1);
}

milliseconds LoginPacer::Left(Clock::time_point now) const {
    return std::chrono::ceil<milliseconds>(std::max(next_ - now, Clock::duration::zero()));
}

}  // namespace vms::httpdevice
