#pragma once

#include <cstddef>
#include <vector>

#include "platform/Export.h"

class IStreamConnectionController;

/// What a host's stream server may offer beside its controller: one unit to many players in one
/// call, which costs less than a call for each. Thread-safe.
class IStreamFanOut {
public:
    /// Does what SendData of the same server does, for each of the players in turn.
    /// @param connectionIds `count` > 0 players
    /// @param failed        gets those added for which SendData would have returned -1
    /// @return what SendData would have returned for the last player; -1 without anybody added when
    ///         there is no memory to send the unit with
    virtual int SendToAll(const long long* connectionIds, std::size_t count, const char* data,
                          int length, bool isPlayback, std::vector<long long>& failed) noexcept = 0;

protected:
    ~IStreamFanOut() = default;
};

namespace vms {

/// Makes a server's fan-out known to modules. Thread-safe.
/// @param controller the key; not called
/// @param fanOut     must outlive every module that has been given the controller; null withdraws
VMS_PLATFORM_API void OfferFanOut(const IStreamConnectionController* controller,
                                  IStreamFanOut* fanOut);

/// @return null when the host offers none. Thread-safe.
VMS_PLATFORM_API IStreamFanOut* FanOutOf(const IStreamConnectionController* controller);

}  // namespace vms
