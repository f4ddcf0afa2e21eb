#include "media/MediaLog.h"

#include <atomic>

namespace vms {
namespace {

std::atomic<MediaLogSource> theSource{nullptr};

}  // namespace

void SetMediaLog(MediaLogSource source) {
    theSource = source;
}

ILogHandler* MediaLog() {
    const MediaLogSource source = theSource;
    return source == nullptr ? nullptr : source();
}

}  // namespace vms
