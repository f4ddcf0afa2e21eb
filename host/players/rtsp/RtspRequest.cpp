#include "host/players/rtsp/RtspRequest.h"

#include "host/http/HttpText.h"

namespace vms::host {
namespace {

const char* StatusText(int status) {
    switch (status) {
        case 200:
            return "OK";
        case 400:
            return "Bad Request";
        case 401:
            return "Unauthorized";
        case 403:
            return "Forbidden";
        case 404:
            return "Not Found";
        case 405:
            return "Method Not Allowed";
        case 406:
            return "Not Acceptable";
        case 408:
            return "Request Timeout";
        case 409:
            return "Conflict";
        case 413:
            return "Request Entity Too Large";
        case 415:
            return "Unsupported Media Type";
        case 429:
            return "Too Many Requests";
        case 453:
            return "Not Enough Bandwidth";
        case 454:
            return "Session Not Found";
        case 455:
            return "Method Not Valid in This State";
        case 457:
            return "Invalid Range";
        case 461:
            return "Unsupported Transport";
        case 501:
            return "Not Implemented";
        case 503:
            return "Service Unavailable";
        case 504:
            return "Gateway Timeout";
        case 505:
            return "RTSP Version Not Supported";
        case 551:
            return "Option Not Supported";
        default:
            return status < 500 ? "Request Failed" : "Internal Server Error";
    }
}

}  // namespace

std::string_view RtspRequest::Header(std::string_view name) const {
    for (const auto& [key, value] : headers) {
        if (SameLetters(key, name))
            return value;
    }
    return {};
}

std::string RtspAnswerText(const RtspAnswer& answer, std::string_view sequence) {
    std::string text =
        "RTSP/1.0 " + std::to_string(answer.status) + " " + StatusText(answer.status) + "\r\n";
    if (!sequence.empty())
        text.append("CSeq: ").append(sequence).append("\r\n");
    text += "Server: vmshost\r\n";
    for (const auto& [name, value] : answer.headers)
        text.append(name).append(": ").append(value).append("\r\n");
    if (!answer.body.empty())
        text += "Content-Length: " + std::to_string(answer.body.size()) + "\r\n";
    return text + "\r\n" + answer.body;
}

}  // namespace vms::host
