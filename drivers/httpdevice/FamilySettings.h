#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace vms::httpdevice {

/// What an installation can set for all devices of the family. Values out of range are moved into
/// it.
struct FamilySettings {
    std::chrono::milliseconds connectTimeout{3000};   ///< TCP and TLS; 100 ms to 60 s
    std::chrono::milliseconds requestTimeout{10000};  ///< a whole request; 100 ms to 120 s
    std::chrono::milliseconds heartbeat{20000};       ///< between heartbeats; 100 ms to 1 h
    std::chrono::milliseconds maxProbeGap{5000};      ///< between looks at a device that is down
    size_t maxAnswerBytes = size_t{8} << 20;
    bool verifyCertificates = false;  ///< devices sign their own
    std::string trustedCertificates;  ///< PEM file; "" = those of the system
};

/// Reads "name=value" pairs separated by ";" or blanks: connectTimeoutMs, requestTimeoutMs,
/// heartbeatMs, maxProbeGapMs, maxAnswerBytes, verifyCertificates (0 or 1), trustedCertificates.
/// What is not understood is logged and keeps its default.
FamilySettings ParseSettings(const std::string& text);

}  // namespace vms::httpdevice
