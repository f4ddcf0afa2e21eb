#pragma once

class IStreamConnectionController;

/// Through which the host's stream server reports player connections to a module. Called on the
/// stream server's threads; events of one connection arrive in order, OnClose last.
/// Slot order is part of the contract.
class IStreamModule {
public:
    /// @param address remote address, @param port remote port (1..65535)
    virtual void OnConnect(long long connectionId, const char* address, int port) = 0;
    virtual void OnClose(long long connectionId, int reason, const char* text) = 0;
    /// @param request a __tagTvCommand owned by the caller, valid during the call
    /// @return 0 when carried out, -1 otherwise
    virtual int OnRecv(long long connectionId, void* request, int length) = 0;
    /// @param data   media unit from the player, valid during the call; @param length bytes
    virtual int OnStream(long long connectionId, void* data, int length) = 0;
    /// @param controller not owned; must outlive the module's streams
    virtual void SetConnectionControl(IStreamConnectionController* controller) = 0;

protected:
    ~IStreamModule() = default;
};
