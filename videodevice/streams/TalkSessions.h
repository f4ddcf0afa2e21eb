#pragma once

#include <string>

#include "videodevice/core/DeviceTable.h"
#include "videodevice/core/ModuleContext.h"
#include "videodevice/streams/StreamTable.h"
#include "videodevice/streams/TalkTable.h"

namespace vms {

/// Carries the audio of players to devices, one talk per connection.
class TalkSessions {
public:
    TalkSessions(ModuleContext& context, DeviceTable& devices, StreamTable& streams,
                 TalkTable& talks)
        : context_(context), devices_(devices), streams_(streams), talks_(talks) {}

    /// Starts a talk with the device of a live stream; an earlier talk of the connection ends when
    /// the new one has started. @return 0 when it came to a start, even if that failed
    int Start(long long connectionId, const std::string& key, int parameter);

    /// @return 0 when the connection talked
    int Stop(long long connectionId);

    /// One media unit from a player; everything but whole audio units of a talking connection is
    /// dropped. @param data may be null; valid during the call
    void Send(long long connectionId, const void* data, int length);

private:
    ModuleContext& context_;
    DeviceTable& devices_;
    StreamTable& streams_;
    TalkTable& talks_;
};

}  // namespace vms
