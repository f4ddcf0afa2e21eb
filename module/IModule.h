#pragma once

class ILogHandler;

/// What the host drives a module through. The host never deletes a module through this interface.
/// Slot order is part of the contract: add operations at the end only.
class IModule {
public:
    /// Registers the module's handlers on the bus and starts its work. Host thread, once.
    /// @param name   name the module registers under; copied
    /// @param config JSON text, may be empty; copied
    /// @return false when the module cannot work
    virtual bool Init(const char* name, const char* config) = 0;

    /// Ends the module's threads; may take seconds. Handlers stay registered: the host takes them
    /// off the bus. Host thread. @return 0 on success
    virtual int UnInit() = 0;

    /// Periodic work, called by the host's timer thread. @return 0
    virtual int OnTimer() = 0;

    /// Sets the library-wide log sink, null = silent. Any thread; the sink must outlive the module.
    virtual void SetCallback(ILogHandler* handler) = 0;

    /// Peer-to-peer set-up text; modules without such a transport ignore it.
    virtual void InitP2PInfo(const char* /*info*/) {}

protected:
    ~IModule() = default;
};
