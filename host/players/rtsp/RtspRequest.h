#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vms::host {

/// One request of an RTSP player (RFC 2326, 6).
struct RtspRequest {
    std::string method;
    std::string uri;  ///< as it came
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;

    /// The first header of a name, whose case does not count; "" = none. Valid as long as the
    /// request is.
    std::string_view Header(std::string_view name) const;
};

/// An answer to it.
struct RtspAnswer {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers{};
    std::string body{};  ///< its length is told
};

/// An answer as it goes over the wire. @param sequence the request's CSeq, "" = it had none
std::string RtspAnswerText(const RtspAnswer& answer, std::string_view sequence);

}  // namespace vms::host
