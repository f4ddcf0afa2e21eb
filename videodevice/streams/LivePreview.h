#pragma once

#include <string>

#include "module/CommandRecord.h"
#include "videodevice/core/DeviceTable.h"
#include "videodevice/core/ModuleContext.h"
#include "videodevice/streams/Retirement.h"
#include "videodevice/streams/StreamTable.h"

namespace vms {

/// Hands out addresses of live streams: shares one that is being watched, otherwise makes one.
class LivePreview {
public:
    LivePreview(ModuleContext& context, DeviceTable& devices, StreamTable& streams,
                Retirement& retirement)
        : context_(context), devices_(devices), streams_(streams), retirement_(retirement) {}

    void GetPreviewUrl(const __tagTvCommand* command);

private:
    struct Request {
        std::string deviceId;  ///< as the body has it; the command's own decides about the device
        int channel = 0;
        int streamType = 0;
        int face = 0;  ///< exactly 1: face frames beside the video
    };

    StreamTable::Stream ReuseStream(const Request& request);
    StreamTable::Stream CreateStream(const std::string& deviceId, IVideoDevice& device,
                                     const Request& request);
    void StartSources(StreamInfo& stream, IVideoDevice& device, const Request& request);

    ModuleContext& context_;
    DeviceTable& devices_;
    StreamTable& streams_;
    Retirement& retirement_;
};

}  // namespace vms
