#pragma once

#include <functional>
#include <list>
#include <string>

#include "module/CommandRecord.h"
#include "videodevice/core/DeviceTable.h"
#include "videodevice/core/ModuleContext.h"
#include "videodevice/streams/Retirement.h"
#include "videodevice/streams/SyncTable.h"

namespace vms {

/// Commands that create, control and end sessions of synchronous playback. A command's device
/// identifier is the session key: "<device>-<suffix>".
class SyncPlayback {
public:
    SyncPlayback(ModuleContext& context, DeviceTable& devices, SyncTable& table,
                 Retirement& retirement)
        : context_(context), devices_(devices), table_(table), retirement_(retirement) {}

    void Create(const __tagTvCommand* command);
    void Destroy(const __tagTvCommand* command);
    void ChannelAdd(const __tagTvCommand* command);
    void ChannelDel(const __tagTvCommand* command);
    void Start(const __tagTvCommand* command);
    void Stop(const __tagTvCommand* command);
    void Pause(const __tagTvCommand* command);
    void Resume(const __tagTvCommand* command);
    void Seek(const __tagTvCommand* command);
    void SetSpeed(const __tagTvCommand* command);

    /// Stops and retires a session and its channels; unknown keys are nothing to do.
    void Erase(const std::string& sessionKey);

    /// Retires what has been taken out of the table: session first.
    void Retire(const SyncTable::Removal& removal);

private:
    struct Request;
    using SessionCall = std::function<int(ISyncPlaybackServer&)>;
    using ChannelCall = int (ISyncPlaybackServer::*)(std::list<int>&);

    bool Supports(IVideoDevice& device);
    /// @return whether the new session is in the table
    bool Open(const std::string& sessionKey, IVideoDevice& device, const std::string& body);
    bool CreateSession(const SyncTable::Session& session, const Request& request);
    void Control(const __tagTvCommand* command, const SessionCall& call);
    void ChangeChannels(const __tagTvCommand* command, ChannelCall call);

    ModuleContext& context_;
    DeviceTable& devices_;
    SyncTable& table_;
    Retirement& retirement_;
};

}  // namespace vms
