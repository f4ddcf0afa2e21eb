#pragma once

#include <string>

/// The sink every stream source reports to; VideoDeviceModule implements it. Thread-safe: called on
/// the sources' receive threads, several at once. May block briefly (a locked table), never for a
/// slow player. Never call it from inside a source operation that the module is executing (StartX,
/// StopX, Pause, ...): the module may hold its stream lock there. Slot order is part of the
/// contract.
class IStreamCallback {
public:
    /// One media unit: 32-byte header and payload. @param data valid during the call, not changed
    /// @return result of the last send to a player, -1 when that failed, 0 when none was made
    virtual int SteramCallback(std::string key, char* data, int length) = 0;

    /// A status message. The constant g_faceOnClose, recognised by address, asks for a new face
    /// source; any other text goes to the stream's players. @return 0
    virtual int MsgCallback(std::string key, const char* message) = 0;

    /// The latest key frame, replayed to players that attach later; copied.
    virtual void UpdateKeyFrame(std::string key, char* data, int length) = 0;

    /// Media units still queued for the stream's first player; -1 when there is none.
    virtual int QueryDataCountToSend(std::string key) = 0;

protected:
    ~IStreamCallback() = default;
};
