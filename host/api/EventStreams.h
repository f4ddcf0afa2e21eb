#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "host/http/HttpExchange.h"
#include "host/status/EventLog.h"
#include "platform/Mutex.h"

namespace vms::host {

struct EventStreamLimits {
    size_t clients = 512;
    size_t clientsOfAddress = 128;
    std::chrono::milliseconds heartbeat{15'000};  ///< longest silence towards a client
    std::chrono::milliseconds look{250};  ///< how often a client that was slow is looked at again
};

/// Which events a client wants; empty = all.
struct EventFilter {
    std::set<std::string> types;
    std::set<std::string> devices;

    bool Wants(const LoggedEvent& event) const;
};

/// The clients of GET /api/events. Each has its place in the log: the next events go out once it
/// has taken those before, so that nothing of a slow client waits here. One that comes back, or is
/// so slow that the log no longer has what follows, is told of the gap. One thread serves all; none
/// of the calls waits, but the destructor.
class EventStreams {
public:
    /// @param log must outlive this object, which is its listener
    explicit EventStreams(EventLog& log, const EventStreamLimits& limits = {});
    ~EventStreams();
    EventStreams(const EventStreams&) = delete;
    EventStreams& operator=(const EventStreams&) = delete;

    /// Begins a stream. @param address of the client @param after the last event it has seen
    /// @return false = there are as many as may be, and nothing has been answered
    /// @param holds kept as long as the client is there
    [[nodiscard]] bool Add(const std::shared_ptr<HttpReply>& reply, const std::string& address,
                           int64_t after, EventFilter filter,
                           std::vector<std::shared_ptr<void>> holds = {});

    size_t Count() const;

private:
    class Clients;

    EventLog& log_;
    const std::shared_ptr<Clients> clients_;  ///< shared with replies that may end later
    std::thread thread_;                      ///< last: uses all of the above
};

}  // namespace vms::host
