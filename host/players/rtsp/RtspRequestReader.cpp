#include "host/players/rtsp/RtspRequestReader.h"

#include <algorithm>
#include <charconv>

#include "media/rtp/RtpPackets.h"
#include "platform/ByteFields.h"

namespace vms::host {
namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kHeadEnd = "\r\n\r\n";
constexpr std::string_view kBlank = " \t";

bool IsControl(char letter) {
    return static_cast<unsigned char>(letter) < ' ' || letter == '\x7f';
}

bool HasControl(std::string_view text) {
    return std::any_of(text.begin(), text.end(),
                       [](char letter) { return letter != '\t' && IsControl(letter); });
}

/// A word of a header (RFC 2616, 2.2).
bool IsToken(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char letter) {
        return !IsControl(letter) && static_cast<unsigned char>(letter) < 0x7f &&
               std::string_view(" ()<>@,;:\\\"/[]?={}").find(letter) == std::string_view::npos;
    });
}

std::string_view Trimmed(std::string_view text) {
    const size_t begin = std::min(text.find_first_not_of(kBlank), text.size());
    text.remove_prefix(begin);
    return text.substr(0, text.find_last_not_of(kBlank) + 1);
}

/// Empty lines between requests mean nothing (RFC 2326, 4.1).
void SkipEmptyLines(std::string& input) {
    input.erase(0, std::min(input.find_first_not_of(kLineEnd), input.size()));
}

}  // namespace

bool RtspRequestReader::IsHalf(std::string_view input) {
    return input.find_first_not_of(kLineEnd) != input.npos;
}

RtspRequestReader::Progress RtspRequestReader::Read(std::string& input) {
    if (failure_ != 0)
        return Progress::kFailed;
    SkipEmptyLines(input);
    if (input.empty())
        return Progress::kMore;
    return input.front() == '$' ? ReadPacket(input) : ReadRequest(input);
}

RtspRequestReader::Progress RtspRequestReader::ReadPacket(std::string& input) {
    if (input.size() < kRtpFrameSize)
        return Progress::kMore;
    const size_t length = BigFieldAt<uint16_t>(input.data(), 2);
    if (input.size() < kRtpFrameSize + length)
        return Progress::kMore;
    channel_ = static_cast<unsigned char>(input[1]);
    packet_.assign(input, kRtpFrameSize, length);
    input.erase(0, kRtpFrameSize + length);
    return Progress::kPacket;
}

RtspRequestReader::Progress RtspRequestReader::ReadRequest(std::string& input) {
    const size_t headEnd = input.find(kHeadEnd);
    if (headEnd == input.npos || headEnd + kHeadEnd.size() > kLongestHead)
        return input.size() < kLongestHead ? Progress::kMore : Fail(413);
    request_ = {};
    size_t length = 0;
    if (!ReadHead(std::string_view(input).substr(0, headEnd)) || !BodyLength(length))
        return Progress::kFailed;
    const size_t bodyAt = headEnd + kHeadEnd.size();
    if (input.size() < bodyAt + length)
        return Progress::kMore;
    request_.body.assign(input, bodyAt, length);
    input.erase(0, bodyAt + length);
    return Progress::kRequest;
}

bool RtspRequestReader::ReadHead(std::string_view head) {
    size_t end = std::min(head.find(kLineEnd), head.size());
    if (!ReadRequestLine(head.substr(0, end)))
        return false;
    while (end < head.size()) {
        head.remove_prefix(end + kLineEnd.size());
        end = std::min(head.find(kLineEnd), head.size());
        if (!ReadHeader(head.substr(0, end))) {
            Fail(400);
            return false;
        }
    }
    return true;
}

bool RtspRequestReader::ReadRequestLine(std::string_view line) {
    const size_t first = line.find(' ');
    const size_t last = line.rfind(' ');
    if (HasControl(line) || first == line.npos || last == first) {
        Fail(400);
        return false;
    }
    const std::string_view version = line.substr(last + 1);
    const std::string_view method = line.substr(0, first);
    const std::string_view uri = line.substr(first + 1, last - first - 1);
    if (!IsToken(method) || uri.empty() || uri.find(' ') != uri.npos) {
        Fail(400);
        return false;
    }
    if (version != "RTSP/1.0") {
        Fail(version.starts_with("RTSP/") ? 505 : 400);
        return false;
    }
    request_.method = method;
    request_.uri = uri;
    return true;
}

bool RtspRequestReader::ReadHeader(std::string_view line) {
    const size_t colon = line.find(':');
    if (colon == line.npos || HasControl(line) || request_.headers.size() >= kMostHeaders ||
        !IsToken(line.substr(0, colon)))
        return false;
    request_.headers.emplace_back(line.substr(0, colon), Trimmed(line.substr(colon + 1)));
    return true;
}

/// @return false when the request has failed
bool RtspRequestReader::BodyLength(size_t& length) {
    const std::string_view text = request_.Header("Content-Length");
    if (text.empty())
        return true;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), length);
    if (error == std::errc() && end == text.data() + text.size() && length <= kLongestBody)
        return true;
    Fail(error == std::errc::result_out_of_range || length > kLongestBody ? 413 : 400);
    return false;
}

RtspRequestReader::Progress RtspRequestReader::Fail(int status) {
    failure_ = status;
    return Progress::kFailed;
}

}  // namespace vms::host
