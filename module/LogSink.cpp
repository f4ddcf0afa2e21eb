#include "module/LogSink.h"

#include <atomic>

ILogHandler* m_gLogCallback = nullptr;

namespace vms {

void SetLogSink(ILogHandler* sink) {
    std::atomic_ref<ILogHandler*>(m_gLogCallback).store(sink, std::memory_order_release);
}

ILogHandler* LogSink() {
    return std::atomic_ref<ILogHandler*>(m_gLogCallback).load(std::memory_order_acquire);
}

}  // namespace vms
