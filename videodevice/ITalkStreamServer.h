#pragma once

/// Carries a player's audio to a device's speaker. Shared by the module's talk table; its last
/// reference may go on any thread. Slot order is part of the contract (destructor last).
class ITalkStreamServer {
public:
    /// @param param as the player's request gave it. @return negative on failure
    virtual int StartTalk(int channel, int param) = 0;

    /// @param data payload of one audio unit, valid during the call. @param length bytes
    virtual void SendTalkData(const char* data, int length) = 0;

    /// Ends the talk; must not wait for the device.
    virtual void StopTalk() = 0;

    virtual ~ITalkStreamServer() = default;
};
