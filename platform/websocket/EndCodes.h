#pragma once

namespace vms {

/// Codes that OnClose carries beside those a peer may send.
enum EndCode : int {
    kEndedNormally = 1000,
    kEndedProtocolError = 1002,
    kEndedNoCode = 1005,      ///< the peer closed without a code
    kEndedAbnormally = 1006,  ///< the connection was lost without a close
    kEndedBadText = 1007,
    kEndedTooBig = 1009,

    kEndedNotConnected = -1,  ///< name, TCP, TLS or upgrade failed
    kEndedTimedOut = -2,      ///< not connected in time
    kEndedStopped = -3,       ///< Stop before the connection stood
};

}  // namespace vms
