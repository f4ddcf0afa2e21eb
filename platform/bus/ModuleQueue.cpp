#include "platform/bus/ModuleQueue.h"

#include <utility>

#include "platform/bus/CommandSerial.h"

namespace vms {

bool ModuleQueue::IsBarrier(const BusRequest& request) {
    const __enumTvCommand id = IdOfSerial(request.serial);
    return id == TV_CMD_DEVICES_ENQUEUE || id == TV_CMD_DEVICES_DEQUEUE;
}

void ModuleQueue::Arrive(RequestPtr request, Ready& ready) {
    if (!held_.empty() || !Admit(request, ready))
        held_.push_back(std::move(request));
}

void ModuleQueue::Finish(const BusRequest& request, Ready& ready) {
    --active_;
    if (IsBarrier(request))
        barrierRunning_ = false;
    else if (!HasNoOrder(request))
        ContinueStrand(request.deviceId, ready);
    while (!held_.empty() && Admit(held_.front(), ready))
        held_.pop_front();
}

/// Lets a request in unless a barrier forbids it; `request` is moved from on success.
bool ModuleQueue::Admit(RequestPtr& request, Ready& ready) {
    if (barrierRunning_ || (IsBarrier(*request) && active_ > 0))
        return false;
    ++active_;
    barrierRunning_ = IsBarrier(*request);
    if (barrierRunning_ || HasNoOrder(*request)) {
        ready.push_back(std::move(request));
        return true;
    }
    const auto [strand, isNew] = strands_.try_emplace(request->deviceId);
    if (isNew)
        ready.push_back(std::move(request));
    else
        strand->second.push_back(std::move(request));
    return true;
}

void ModuleQueue::ContinueStrand(const std::string& deviceId, Ready& ready) {
    const auto strand = strands_.find(deviceId);
    if (strand == strands_.end())
        return;
    if (strand->second.empty()) {
        strands_.erase(strand);
        return;
    }
    ready.push_back(std::move(strand->second.front()));
    strand->second.pop_front();
}

}  // namespace vms
