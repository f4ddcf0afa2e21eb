#include "host/api/EventApi.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "host/api/ApiError.h"
#include "host/api/ApiFields.h"

namespace vms::host {
namespace {

constexpr int kPage = 100;
constexpr int kMostPerPage = 1000;
constexpr size_t kMostNames = 64;  ///< in a filter
constexpr int64_t kMs = 1000;

int64_t EventNumber(const std::string& text) {
    int64_t number = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < 0)
        throw ApiError(400, "the last event must be a number");
    return number;
}

/// "a,b,c"
std::set<std::string> Names(const ApiFields& query, const char* name) {
    const std::string list = query.TextOr(name, "");
    std::set<std::string> names;
    for (size_t at = 0; at < list.size();) {
        const size_t end = std::min(list.find(',', at), list.size());
        names.insert(list.substr(at, end - at));
        at = end + 1;
    }
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
    if (!streams_.Add(reply, request.peerAddress, after, std::move(filter)))
        throw ApiError(503, "too many watch the events");
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
