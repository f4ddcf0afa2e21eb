#pragma once

#include <memory>
#include <string>
#include <utility>

namespace vms::sim::httpdevice {

/// One WebSocket message: what is its own, then what it shares with other receivers.
struct OutMessage {
    bool text = false;
    std::string head;
    std::shared_ptr<const std::string> payload;  ///< null = nothing more
    bool key = false;                            ///< decoding can begin here
    bool media = false;

    size_t size() const { return head.size() + (payload ? payload->size() : 0); }

    static OutMessage Text(std::string json) {
        OutMessage message;
        message.text = true;
        message.head = std::move(json);
        return message;
    }
};

}  // namespace vms::sim::httpdevice
