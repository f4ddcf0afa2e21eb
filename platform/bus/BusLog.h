#pragma once

#include <atomic>

#include "module/CommandRecord.h"

class ILogHandler;

namespace vms {

/// What the bus has to say, sent to the host's sink when there is one. Thread-safe; a sink that
/// throws is ignored.
class BusLog {
public:
    /// @param sink not owned, null = silent; must stay alive until handlers and senders are done
    void SetSink(ILogHandler* sink) { sink_.store(sink); }

    void HandlerThrew(const char* module, __enumTvCommand id, const char* what) noexcept;
    void CallbackThrew(__enumTvCommand id, const char* what) noexcept;
    void QueueFull(const char* what) noexcept;

private:
    template <class... Arguments>
    void Write(int level, const char* format, Arguments... arguments) noexcept;

    std::atomic<ILogHandler*> sink_{nullptr};
};

}  // namespace vms
