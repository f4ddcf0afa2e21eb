#pragma once

#include <string>

namespace vms::host::test {

inline constexpr char kSessionPart[] =
    "v=0\r\no=- 1 2 IN IP4 127.0.0.1\r\ns=-\r\nt=0 0\r\na=group:BUNDLE a v\r\n";

/// What describes a section's transport.
inline std::string TransportLines(const std::string& mid) {
    return "c=IN IP4 0.0.0.0\r\na=ice-ufrag:abcd\r\na=ice-pwd:0123456789abcdefghijkl\r\n"
           "a=fingerprint:sha-256 AB:CD:01\r\na=setup:actpass\r\na=rtcp-mux\r\na=recvonly\r\n"
           "a=candidate:1 1 udp 1 203.0.113.7 9 typ host\r\na=mid:" +
           mid + "\r\n";
}

inline std::string VideoSection(const std::string& mid = "v") {
    return "m=video 9 UDP/TLS/RTP/SAVPF 96 102 103 104 116 117\r\n" + TransportLines(mid) +
           "a=rtpmap:96 VP8/90000\r\n"
           "a=rtpmap:102 H264/90000\r\n"
           "a=fmtp:102 level-asymmetry-allowed=1;packetization-mode=1;profile-level-id=42e01f\r\n"
           "a=rtpmap:103 rtx/90000\r\na=fmtp:103 apt=102\r\n"
           "a=rtpmap:104 H264/90000\r\n"
           "a=fmtp:104 packetization-mode=0;profile-level-id=64001f\r\n"
           "a=rtpmap:116 h264/90000\r\n"
           "a=fmtp:116 profile-level-id=64001f; packetization-mode=1\r\n"
           "a=rtpmap:117 rtx/90000\r\na=fmtp:117 apt=116\r\n";
}

inline std::string AudioSection(const std::string& mid = "a") {
    return "m=audio 9 UDP/TLS/RTP/SAVPF 111 0 8\r\n" + TransportLines(mid) +
           "a=rtpmap:111 opus/48000/2\r\na=rtpmap:8 PCMA/8000\r\n";
}

/// As a browser makes it: sound first, then H.264 in several ways.
inline std::string BrowserOffer() {
    return kSessionPart + AudioSection() + VideoSection();
}

}  // namespace vms::host::test
