#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "module/CommandRecord.h"
#include "module/ICommandBus.h"

namespace vms {

/// What the host asks of a module.
struct BusRequest {
    std::string module;    ///< name the module registered under
    __enumTvCommand id;    ///< command
    std::string deviceId;  ///< addressed device; requests to one (module, device) run in order
    std::string body;      ///< JSON or empty
};

/// What came of a request.
struct Answer {
    enum class Kind {
        answered,   ///< result and body hold the module's answer
        threw,      ///< the handler ended with an exception; no answer will come
        silent,     ///< nothing came in time
        queueFull,  ///< too many requests are waiting on the bus
        noHandler,  ///< nobody registered this command for this module
    };
    Kind kind = Kind::silent;
    int32_t result = 0;  ///< 1 success, -1 failure
    std::string body;

    bool Succeeded() const { return kind == Kind::answered && result == 1; }
};

/// Whether more answers to the same request follow this one: a page of a search that is not its
/// last.
bool IsOpenPage(const std::string& body);

/// Blocking requests over the process-wide bus. Thread-safe; must not be used on the bus's delivery
/// thread, since it waits for it.
class BusClient {
public:
    using Duration = std::chrono::milliseconds;
    using Clock = std::chrono::steady_clock;
    using PageSink = std::function<void(const Answer&)>;

    /// As long as the bus itself keeps an unanswered request.
    static constexpr Duration kPatience{70'000};

    BusClient();
    ~BusClient();

    /// Posts a request and waits for its first answer.
    Answer Ask(const BusRequest& request, Duration timeout = kPatience);

    /// Posts a request and hands each answer to `onAnswer`, on the calling thread, up to the first
    /// that is not an open page.
    /// @param silence longest wait for the next answer
    /// @param end     when to give up in any case
    /// @return the last answer, or how the request ended without one
    Answer AskPages(const BusRequest& request, const PageSink& onAnswer,
                    Duration silence = kPatience, Clock::time_point end = Clock::time_point::max());

    /// Ends every wait, those under way and all to come, as if its time had run out: for a process
    /// that is about to end.
    void Interrupt();

    ICommandBus& Bus() { return bus_; }

private:
    class Waits;

    ICommandBus& bus_;
    const std::unique_ptr<Waits> waits_;
};

}  // namespace vms
