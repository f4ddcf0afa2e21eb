#pragma once

#include <exception>

#include "module/LogSink.h"
#include "platform/ILogHandler.h"

namespace vms {

/// Runs code of a device family or of the host, which may throw anything. @return false when it
/// threw, which is logged under `tag`
template <class Work>
bool Guarded(const char* tag, Work&& work) noexcept {
    try {
        work();
        return true;
    } catch (const std::exception& error) {
        VMS_LOG(3, tag, "unexpected exception: %s", error.what());
    } catch (...) {
        VMS_LOG(3, tag, "unexpected exception");
    }
    return false;
}

}  // namespace vms
