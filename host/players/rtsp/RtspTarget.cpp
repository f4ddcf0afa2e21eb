#include "host/players/rtsp/RtspTarget.h"

#include <algorithm>
#include <optional>

#include "host/http/HttpTarget.h"
#include "host/http/HttpText.h"
#include "host/text/IsoTime.h"

namespace vms::host {
namespace {

constexpr std::string_view kTrack = "/track";
constexpr int64_t kLatest = INT32_MAX;

/// Takes "/trackN" off the end. @return the number, -1 = there is none
int TakeTrack(std::string_view& text) {
    const size_t at = text.rfind(kTrack);
    if (at == text.npos || at + kTrack.size() + 1 != text.size())
        return -1;
    const int number = text.back() - '0';
    if (number < 0 || number > 9)
        return -1;
    text.remove_suffix(text.size() - at);
    return number;
}

/// Where the path begins, behind "rtsp://host".
size_t PathBegin(std::string_view uri) {
    const size_t colon = uri.find("://");
    if (colon == uri.npos)
        return uri.starts_with('/') ? 0 : uri.npos;
    const std::string_view scheme = uri.substr(0, colon);
    if (!SameLetters(scheme, "rtsp") && !SameLetters(scheme, "rtsps"))
        return uri.npos;
    return std::min(uri.find_first_of("/?", colon + 3), uri.size());
}

std::string_view WithoutSlash(std::string_view path) {
    return path.size() > 1 && path.ends_with('/') ? path.substr(0, path.size() - 1) : path;
}

int ReadTimes(const HttpRequest& request, int64_t now, RtspTarget& target, std::string& text) {
    const std::string to = ValueIn(request.query, "to");
    const std::optional<int64_t> begin = ParseTime(ValueIn(request.query, "from"));
    const std::optional<int64_t> end = to.empty() ? std::min(now, kLatest) : ParseTime(to);
    text = "from and to are times such as 2026-03-05T10:00:00Z, from before to";
    if (!begin || !end || *begin < 1 || *end <= *begin)
        return 400;
    target.from = static_cast<int32_t>(*begin);
    target.to = static_cast<int32_t>(*end);
    target.hasEnd = !to.empty();
    text.clear();
    return 200;
}

}  // namespace

bool RtspTarget::SameStream(const RtspTarget& other) const {
    return isLive == other.isLive && stream == other.stream && from == other.from &&
           hasEnd == other.hasEnd && (!hasEnd || to == other.to);
}

int ReadRtspTarget(std::string_view uri, int64_t now, RtspTarget& target, std::string& text) {
    text = "no such address";
    const size_t begin = PathBegin(uri);
    if (begin == uri.npos)
        return 400;
    uri.remove_prefix(begin);
    int track = TakeTrack(uri);
    const size_t mark = std::min(uri.find('?'), uri.size());
    std::string_view path = WithoutSlash(uri.substr(0, mark));
    std::string_view query = uri.substr(mark);
    if (track < 0)
        track = TakeTrack(path);
    if (query.ends_with('/'))
        query.remove_suffix(1);  // a player has made a folder of it
    HttpRequest request;
    if (!ReadHttpTarget(std::string(path.empty() ? "/" : path).append(query), request))
        return 400;
    if (request.segments.size() != 3 ||
        (request.segments[0] != "live" && request.segments[0] != "play"))
        return 404;
    target.isLive = request.segments[0] == "live";
    target.track = track;
    text = ReadStreamAddress(request.segments[1], request.segments[2],
                             ValueIn(request.query, "stream"), target.stream);
    if (!text.empty())
        return 400;
    return target.isLive ? 200 : ReadTimes(request, now, target, text);
}

std::string RtspStreamUri(std::string_view uri) {
    TakeTrack(uri);
    const size_t mark = std::min(uri.find('?'), uri.size());
    std::string_view path = WithoutSlash(uri.substr(0, mark));
    TakeTrack(path);
    return std::string(path).append(uri.substr(mark));
}

std::string RtspTrackUri(std::string_view uri, size_t track) {
    std::string whole = RtspStreamUri(uri);
    return whole.insert(std::min(whole.find('?'), whole.size()),
                        std::string(kTrack) + std::to_string(track));
}

}  // namespace vms::host
