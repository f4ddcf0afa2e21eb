#include "host/api/EventApi.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "host/api/ApiError.h"
#include "host/api/ApiFields.h"
#include "host/text/TerminalText.h"

namespace vms::host {
namespace {

constexpr int kPage = 100;
constexpr int kMostPerPage = 1000;
constexpr size_t kMostNames = 64;  ///< in a filter
constexpr size_t kMostFaces = 16;  ///< channels of one client
constexpr int64_t kMs = 1000;

int64_t EventNumber(const std::string& text) {
    int64_t number = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < 0)
        throw ApiError(400, "the last event must be a number");
    return number;
}

/// Of "a,b,c".
std::set<std::string> Split(const std::string& list) {
    std::set<std::string> parts;
    for (size_t at = 0; at < list.size();) {
        const size_t end = std::min(list.find(',', at), list.size());
        parts.insert(list.substr(at, end - at));
        at = end + 1;
    }
    return parts;
}

std::set<std::string> Names(const ApiFields& query, const char* name) {
    std::set<std::string> names = Split(query.TextOr(name, ""));
    if (names.size() > kMostNames)
        query.Fail(name, "names too many");
    return names;
}

}  // namespace

void EventApi::AddTo(HttpRouter& router) {
    router.Add("GET", "/api/events", Answering([this](const auto& request, const auto& reply) {
                   Watch(request, reply);
               }));
    router.Add("GET", "/api/events/log", Answering([this](const auto& request, const auto& reply) {
                   Find(request, *reply);
               }));
}

void EventApi::Watch(const HttpRequest& request, const std::shared_ptr<HttpReply>& reply) {
    const ApiFields query = ApiFields::OfQuery(request);
    const std::string header(request.Header("Last-Event-ID"));
    const int64_t newest = log_.Last();
    int64_t after = newest;
    if (!header.empty())
        after = EventNumber(header);
    else if (query.Has("after"))
        after = EventNumber(query.Text("after"));
    EventFilter filter{Names(query, "types"), Names(query, "devices")};
    // Whoever has seen what is not there yet has seen it of another log.
    after = std::min(after, newest);
    auto faces = WatchFaces(query.TextOr("faces", ""));
    if (!streams_.Add(reply, request.peerAddress, after, std::move(filter), std::move(faces)))
        throw ApiError(503, "too many watch the events");
}

/// @param channels "DEVICE/CHANNEL,DEVICE/CHANNEL", each device percent-encoded
std::vector<std::shared_ptr<void>> EventApi::WatchFaces(const std::string& channels) const {
    std::vector<std::shared_ptr<void>> watches;
    const std::set<std::string> wanted = Split(channels);
    if (wanted.size() > kMostFaces)
        throw ApiError(400, "\"faces\": names too many channels");
    for (const std::string& one : wanted) {
        const size_t slash = std::min(one.find('/'), one.size());
        StreamAddress address;
        const std::string problem =
            ReadStreamAddress(PercentDecoded(one.substr(0, slash)),
                              one.substr(std::min(slash + 1, one.size())), "", address);
        if (!problem.empty())
            throw ApiError(400, "\"faces\": " + problem);
        watches.push_back(faces_ == nullptr ? nullptr
                                            : faces_->Watch(address.device, address.channel));
        if (watches.back() == nullptr)
            throw ApiError(503, "the faces of too many channels are watched");
    }
    return watches;
}

void EventApi::Find(const HttpRequest& request, HttpReply& reply) {
    const ApiFields query = ApiFields::OfQuery(request);
    EventQuery wanted;
    if (const auto from = query.TimeIfThere("from"))
        wanted.from = *from * kMs;
    if (const auto to = query.TimeIfThere("to"))
        wanted.to = *to * kMs;
    if (query.Has("before"))
        wanted.before = EventNumber(query.Text("before"));
    wanted.type = query.TextOr("type", "");
    wanted.device = query.TextOr("device", "", ApiFields::kLongestId);
    wanted.most = static_cast<size_t>(query.IntegerOr("limit", kPage, 1, kMostPerPage));
    const std::vector<LoggedEvent> events = log_.Find(wanted);
    std::string text = "{\"events\":[";
    for (const LoggedEvent& event : events)
        text += (&event == &events.front() ? "" : ",") + EventJson(event);
    text += "]";
    if (events.size() == wanted.most)
        text += ",\"before\":" + std::to_string(events.back().id);
    reply.Send({200, "application/json", text + "}\n", {}});
}

}  // namespace vms::host
