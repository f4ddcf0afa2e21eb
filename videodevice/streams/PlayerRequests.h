#pragma once

#include <functional>
#include <string>

#include "module/CommandRecord.h"
#include "videodevice/core/ModuleContext.h"
#include "videodevice/streams/Retirement.h"
#include "videodevice/streams/StreamTable.h"
#include "videodevice/streams/SyncChannels.h"
#include "videodevice/streams/SyncPlayback.h"
#include "videodevice/streams/SyncTable.h"
#include "videodevice/streams/TalkSessions.h"

namespace vms {

/// What players ask for over their connections, and what their leaving means. Runs on the stream
/// server's threads; events of one connection come one after the other.
class PlayerRequests {
public:
    struct Parts {
        StreamTable& streams;
        SyncTable& syncTable;
        SyncChannels& syncChannels;
        SyncPlayback& syncPlayback;
        TalkSessions& talks;
        Retirement& retirement;
    };
    PlayerRequests(ModuleContext& context, const Parts& parts) : context_(context), parts_(parts) {}

    /// Logs and carries out a request; what sources throw is a failure.
    /// @return 0 when it was carried out, -1 otherwise, and always for synchronous channels
    int Handle(long long connectionId, const __tagTvCommand& request);

    /// Retires what nobody watches any more once a connection is gone. Live streams stay: the media
    /// path drops the player when sending fails.
    void Close(long long connectionId);

private:
    int Dispatch(long long connectionId, const __tagTvCommand& request);
    int StartPreview(long long connectionId, const std::string& key);
    int StartPlayback(long long connectionId, const __tagTvCommand& request);
    int StopPlayback(long long connectionId, const __tagTvCommand& request);
    int StartDownload(long long connectionId, const __tagTvCommand& request);
    /// @return 0 when there is such a stream and it plays a recording
    int ControlPlayback(const std::string& key,
                        const std::function<void(IPlaybackStreamServer&)>& call);

    ModuleContext& context_;
    const Parts parts_;
};

}  // namespace vms
