#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "host/players/rtsp/RtspRequest.h"

namespace vms::host {

/// Takes what a player sends apart: requests (RFC 2326, 6) and, in between, packets of RTCP
/// (10.12). What is no such thing ends the reading. Not thread-safe.
class RtspRequestReader {
public:
    static constexpr size_t kLongestHead = size_t{16} << 10;
    static constexpr size_t kLongestBody = size_t{64} << 10;
    static constexpr size_t kMostHeaders = 64;
    /// As much may wait in the input that has not been read.
    static constexpr size_t kMostInput = kLongestHead + kLongestBody;

    enum class Progress {
        kMore,     ///< nothing whole has come
        kRequest,  ///< see Request
        kPacket,   ///< see Channel and Packet
        kFailed,   ///< see Failure: nothing more can be read
    };

    /// Takes the next thing off the input.
    Progress Read(std::string& input);

    RtspRequest& Request() { return request_; }

    int Channel() const { return channel_; }
    const std::string& Packet() const { return packet_; }

    /// The status to refuse it with.
    int Failure() const { return failure_; }

    /// Whether the beginning of something waits for its rest.
    static bool IsHalf(std::string_view input);

private:
    Progress ReadPacket(std::string& input);
    Progress ReadRequest(std::string& input);
    bool ReadHead(std::string_view head);
    bool ReadRequestLine(std::string_view line);
    bool ReadHeader(std::string_view line);
    bool BodyLength(size_t& length);
    Progress Fail(int status);

    RtspRequest request_;
    int channel_ = 0;
    std::string packet_;
    int failure_ = 0;
};

}  // namespace vms::host
