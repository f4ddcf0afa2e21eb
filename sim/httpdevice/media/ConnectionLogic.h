#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sim/httpdevice/Device.h"
#include "sim/httpdevice/media/OutMessage.h"

namespace vms::sim::httpdevice {

/// What a WebSocket connection is to do next.
struct Batch {
    enum class End {
        kStay,
        kClose,  ///< properly, behind the messages
        kAbort,  ///< the socket drops behind the messages
        kStall,  ///< stays open; nothing is read or sent any more
    };

    std::vector<OutMessage> messages;
    std::string raw;  ///< written behind the messages, past all framing
    End end = End::kStay;
};

/// The device's side of one WebSocket connection, without the socket. Used by one thread at a time;
/// time is the caller's.
class ConnectionLogic {
public:
    virtual ~ConnectionLogic() = default;
    virtual void OnText(Clock::time_point now, std::string_view text, Batch& batch) = 0;
    virtual void OnBinary(Clock::time_point now, std::string_view bytes, Batch& batch) = 0;
    /// @param queued bytes handed over that the socket has not taken yet
    virtual void OnTick(Clock::time_point now, size_t queued, Batch& batch) = 0;
    /// When OnTick wants to be called next.
    virtual Clock::time_point NextTick(Clock::time_point now) const = 0;
};

/// The logic behind a path: media for "/", events for "/events"; null for any other.
/// @param device must outlive what is returned
std::unique_ptr<ConnectionLogic> MakeLogic(Device& device, std::string_view path);

}  // namespace vms::sim::httpdevice
