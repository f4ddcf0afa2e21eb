#include "drivers/httpdevice/sources/KeyFrameSink.h"

#include <utility>

#include "drivers/common/LiveUnit.h"

namespace vms::httpdevice {
int KeyFrameSink::SteramCallback(std::string key, char* data, int length) {
    IStreamCallback* const sink = sink_;
    return sink != nullptr ? HandLiveUnit(*sink, key, data, length) : 0;
}

int KeyFrameSink::MsgCallback(std::string key, const char* message) {
    IStreamCallback* const sink = sink_;
    return sink != nullptr ? sink->MsgCallback(std::move(key), message) : 0;
}

void KeyFrameSink::UpdateKeyFrame(std::string key, char* data, int length) {
    if (IStreamCallback* const sink = sink_)
        sink->UpdateKeyFrame(std::move(key), data, length);
}

int KeyFrameSink::QueryDataCountToSend(std::string key) {
    IStreamCallback* const sink = sink_;
    return sink != nullptr ? sink->QueryDataCountToSend(std::move(key)) : -1;
}

}  // namespace vms::httpdevice
