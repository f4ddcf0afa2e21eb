#pragma once

#include <string>
#include <vector>

#include "sim/httpdevice/media/ActionRequest.h"
#include "sim/httpdevice/media/ConnectionLogic.h"

namespace vms::sim::httpdevice {

/// The path "/events": face packets at a steady pace, channels in turn.
class EventConnection final : public ConnectionLogic {
public:
    explicit EventConnection(Device& device);

    void OnText(Clock::time_point now, std::string_view text, Batch& batch) override;
    void OnBinary(Clock::time_point, std::string_view, Batch&) override {}
    void OnTick(Clock::time_point now, size_t queued, Batch& batch) override;
    Clock::time_point NextTick(Clock::time_point now) const override;

private:
    ResultCode Subscribe(Clock::time_point now, const ActionRequest& request);
    void SendPackets(Batch& batch);
    OutMessage Packet(int type);

    Device& device_;
    std::string token_;       ///< "" = not subscribed
    std::vector<int> types_;  ///< of packets
    uint32_t serial_ = 0;
    Clock::time_point nextPacket_{};
};

}  // namespace vms::sim::httpdevice
