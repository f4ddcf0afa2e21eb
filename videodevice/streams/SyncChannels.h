#pragma once

#include <string>

#include "videodevice/core/DeviceTable.h"
#include "videodevice/core/ModuleContext.h"
#include "videodevice/streams/Retirement.h"
#include "videodevice/streams/SyncTable.h"

namespace vms {

/// Channels of synchronous sessions as players see them: the first player of a channel makes its
/// stream, the last one ends it.
class SyncChannels {
public:
    SyncChannels(ModuleContext& context, DeviceTable& devices, SyncTable& table,
                 Retirement& retirement)
        : context_(context), devices_(devices), table_(table), retirement_(retirement) {}

    /// Attaches a player to a channel if `sessionKey` names a session of a known device.
    /// @return false when it does not: the request is for an ordinary stream
    bool Start(long long connectionId, const std::string& sessionKey, int channel);

    /// Detaches a player if `sessionKey` names a session and, as a whole, a device.
    /// @return false when it does not: the request is for an ordinary stream
    bool Stop(long long connectionId, const std::string& sessionKey, int channel);

private:
    void Open(const SyncTable::Seat& seat, IVideoDevice& device);
    SyncTable::Stream MakeStream(const SyncTable::Seat& seat, IVideoDevice& device,
                                 const std::string& token);
    void Play(const SyncTable::Seat& seat, const SyncTable::Stream& stream);

    ModuleContext& context_;
    DeviceTable& devices_;
    SyncTable& table_;
    Retirement& retirement_;
};

}  // namespace vms
