#pragma once

#include <memory>
#include <string>

#include "module/CommandRecord.h"
#include "videodevice/core/DeviceTable.h"
#include "videodevice/core/ModuleContext.h"
#include "videodevice/streams/Retirement.h"
#include "videodevice/streams/StreamTable.h"

namespace vms {

/// Hands out addresses of recorded streams, a new one each time. Nothing plays yet: the player
/// starts with its own request, which carries the range.
class RecordedStreams {
public:
    RecordedStreams(ModuleContext& context, DeviceTable& devices, StreamTable& streams,
                    Retirement& retirement)
        : context_(context), devices_(devices), streams_(streams), retirement_(retirement) {}

    void GetPlaybackUrl(const __tagTvCommand* command);
    void GetRecordDownloadUrl(const __tagTvCommand* command);

private:
    struct Query {
        int channel = 0;
        int streamNo = 0;
        int beginTime = 0;  ///< s since the epoch
        int endTime = 0;    ///< s since the epoch
    };
    static Query ReadQuery(const std::string& body);

    std::unique_ptr<IPlaybackStreamServer> CreatePlaybackSource(IVideoDevice& device,
                                                                const Query& query,
                                                                int& speedOnlyI);
    /// A record around a source, under the key that the source gives or a fresh one.
    StreamTable::Stream MakeStream(const std::string& deviceId,
                                   std::unique_ptr<IPlaybackStreamServer> source);

    ModuleContext& context_;
    DeviceTable& devices_;
    StreamTable& streams_;
    Retirement& retirement_;
};

}  // namespace vms
