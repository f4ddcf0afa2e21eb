#include "platform/websocket/KeepAlive.h"

#include <algorithm>

namespace vms {

KeepAlive::Step KeepAlive::Look(Clock::time_point now) {
    if (pinged_) {
        const auto waited = now - pingTime_;
        if (waited >= pongTimeout_)
            return {Action::kGiveUp, {}};
        return {Action::kWait, std::min(pingAfter_, pongTimeout_ - waited)};
    }
    const auto silence = now - lastHeard_;
    if (silence < pingAfter_)
        return {Action::kWait, pingAfter_ - silence};
    pinged_ = true;
    pingTime_ = now;
    return {Action::kPing, std::min(pingAfter_, pongTimeout_)};
}

}  // namespace vms
