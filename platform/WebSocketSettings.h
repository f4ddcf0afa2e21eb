#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "platform/Export.h"

class ILogHandler;
class IWebSocketClient;

namespace vms {

/// What all WebSocket clients of the process go by. Values out of range are moved into it.
struct WebSocketSettings {
    /// Longest message taken, 1 byte to 1 GiB; a longer one closes the connection with code 1009.
    size_t maxMessageBytes = size_t{16} << 20;
    /// Text that may wait to be sent, per client; Send refuses what would exceed it.
    size_t maxQueuedBytes = size_t{1} << 20;
    /// Silence after which the peer is pinged, at least 1 ms.
    std::chrono::milliseconds pingAfter{10'000};
    /// Further silence after which the connection is given up, at least 1 ms.
    std::chrono::milliseconds pongTimeout{10'000};
    /// Time a close may take, queued texts included, at least 1 ms.
    std::chrono::milliseconds closeTimeout{500};
    /// Whether a device's certificate must be trusted and match its address. Devices sign their
    /// own, so this is off unless an installation provides certificates.
    bool verifyCertificates = false;
    /// PEM file with the certificates to trust; "" = those of the system.
    std::string trustedCertificates;
    /// SHA-256 of the only certificate that is taken, in hexadecimal digits of either case, with or
    /// without colons; "" = any. With one, verifyCertificates need not be set.
    std::string certificateFingerprint;
};

/// For clients that connect from now on. Thread-safe.
VMS_PLATFORM_API void SetWebSocketSettings(const WebSocketSettings& settings);
VMS_PLATFORM_API WebSocketSettings GetWebSocketSettings();

/// Where WebSocket clients report handlers that threw and TLS that is not verified; null =
/// nowhere. Thread-safe. @param log not owned, stays alive until the clients are released
VMS_PLATFORM_API void SetWebSocketLog(ILogHandler* log);

}  // namespace vms

/// A client that goes by settings of its own instead of those of the process; values out of range
/// are moved into it. Freed with Release; null without memory.
VMS_PLATFORM_API IWebSocketClient* CreateWebSocketClient(const vms::WebSocketSettings& settings);
