#include "platform/bus/BusLog.h"

#include "platform/ILogHandler.h"

namespace vms {

template <class... Arguments>
void BusLog::Write(int level, const char* format, Arguments... arguments) noexcept {
    ILogHandler* const sink = sink_.load();
    if (sink == nullptr)
        return;
    try {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        sink->Log(level, "CommandBus", format, arguments...);
#pragma GCC diagnostic pop
    } catch (...) {
        // A sink that fails must not take the request down with it.
    }
}

void BusLog::HandlerThrew(const char* module, __enumTvCommand id, const char* what) noexcept {
    Write(3, "handler %s/0x%x threw: %s\n", module, static_cast<unsigned>(id), what);
}

void BusLog::CallbackThrew(__enumTvCommand id, const char* what) noexcept {
    Write(3, "callback for 0x%x threw: %s\n", static_cast<unsigned>(id), what);
}

void BusLog::QueueFull(const char* what) noexcept {
    Write(2, "too many %s are waiting, dropping more\n", what);
}

}  // namespace vms
