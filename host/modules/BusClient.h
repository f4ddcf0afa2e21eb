#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "module/CommandRecord.h"
#include "module/ICommandBus.h"

namespace vms::host {

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
        kAnswered,   ///< result and body hold the module's answer
        kThrew,      ///< the handler ended with an exception; no answer will come
        kSilent,     ///< nothing came in time
        kQueueFull,  ///< too many requests are waiting on the bus
        kNoHandler,  ///< nobody registered this command for this module
    };
    Kind kind = Kind::kSilent;
    int32_t result = 0;  ///< 1 success, -1 failure
    std::string body;

    bool Succeeded() const { return kind == Kind::kAnswered && result == 1; }
};

/// Whether more answers to the same request follow this one: a page of a search that is not its
/// last.
bool IsOpenPage(const std::string& body);

class AsyncWait;
class AsyncWaits;

/// Requests over the process-wide bus. Thread-safe. Those that block must not be used on a thread
/// of the bus, since they wait for it.
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

    /// What becomes of a request that no thread waits for. Called on a thread of the bus or of this
    /// object, or inside the call that asks; must not block.
    struct AsyncSinks {
        PageSink onAnswer;  ///< each answer, the last included; may be empty
        PageSink onEnd;     ///< once: the last answer, or how the request ended without one
        /// Kept until the module is through with the request, however early it ended: its handler
        /// has returned, or the bus has forgotten it after 70 s of silence.
        std::shared_ptr<void> hold;
    };

    /// A request under way. Whoever drops it cancels nothing.
    class Pending {
    public:
        explicit Pending(std::shared_ptr<AsyncWait> wait) : wait_(std::move(wait)) {}
        /// Ends it: nothing is called any more, except that a call under way may go on. The module
        /// still serves the request.
        void Cancel() const;

    private:
        std::shared_ptr<AsyncWait> wait_;
    };

    /// Posts a request and returns; it ends with its first answer.
    Pending AskAsync(const BusRequest& request, AsyncSinks sinks, Duration timeout = kPatience);

    /// The same, but it ends with the first answer that is not an open page.
    /// @param silence longest wait for the next answer @param end when to give up in any case
    Pending AskPagesAsync(const BusRequest& request, AsyncSinks sinks, Duration silence = kPatience,
                          Clock::time_point end = Clock::time_point::max());

    /// Ends every wait, those under way and all to come, as if its time had run out: for a process
    /// that is about to end.
    void Interrupt();

    ICommandBus& Bus() { return bus_; }

private:
    class Waits;

    Pending Start(const BusRequest& request, AsyncSinks sinks, bool forPages, Duration silence,
                  Clock::time_point end);

    ICommandBus& bus_;
    const std::unique_ptr<Waits> waits_;
    const std::shared_ptr<AsyncWaits> asyncWaits_;
};

}  // namespace vms::host
