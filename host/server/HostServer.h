#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/config/HostConfig.h"
#include "host/http/BodyBudget.h"
#include "host/http/HttpGate.h"
#include "host/http/HttpRouter.h"
#include "host/net/DropPolicy.h"
#include "host/players/PlayerContext.h"
#include "host/players/PlayerInfo.h"
#include "host/relay/RelayTable.h"
#include "platform/IStreamConnectionController.h"

class ILogHandler;
class IStreamModule;

namespace vms::host {

class DeviceModules;
class RtspAccess;
class TlsContext;

/// The host's doors and what goes out of them: one listener for players over WebSocket at /stream
/// and everything else over HTTP, the stream server that modules see, and the relays between the
/// two. Thread-safe, except that Attach, Start and Stop are called once each, in this order, by one
/// thread.
class HostServer {
public:
    /// Listens at once, so that modules can be told the address; serves from Start on.
    /// @param log must outlive this object
    /// @param tls null = plain @throws HostError
    HostServer(const HttpConfig& config, ILogHandler& log, const SendLimits& limits = {},
               std::shared_ptr<TlsContext> tls = nullptr);

    /// Stops unless that has been done.
    ~HostServer();
    HostServer(const HostServer&) = delete;
    HostServer& operator=(const HostServer&) = delete;

    /// Who may come in; without one whoever can connect may, and as an admin. Before Start; what it
    /// refers to must outlive Stop.
    void SetGate(HttpGate gate);

    /// @param modules that stream, in the order in which they are asked; must outlive Stop
    /// @param devices how streams are asked for by address; must outlive Stop
    /// @param onStart told the key when a player asks for a stream; any thread, must not wait
    void Attach(
        std::vector<IStreamModule*> modules, DeviceModules& devices,
        std::function<void(const std::string& key)> onStart = [](const std::string&) {});

    /// What ways out need; valid from Attach on and as long as this object lives.
    PlayerContext& Context();

    /// Of all bodies and messages that clients are sending.
    BodyBudget& Budget();

    /// @param router serves HTTP requests
    void Start(HttpRouter router);

    /// Serves RTSP players, too. Once, after Attach and before Start.
    /// @param access must outlive Stop @throws HostError
    void ServeRtsp(const RtspConfig& config, RtspAccess& access);

    /// Closes all connections and returns when the modules have heard of each. Waits for modules
    /// that are busy, however long.
    void Stop();

    /// A live stream has just been opened under that key: its first group is kept for whoever comes
    /// for it in the next seconds. Any thread; does not wait.
    void Expect(const std::string& key);

    int Port() const;
    int RtspPort() const;  ///< 0 = RTSP is not served

    /// The stream server as modules see it; lives as long as this object.
    IStreamConnectionController& Streams();

    std::vector<PlayerInfo> Players() const;
    std::vector<RelayInfo> Relays() const;
    StreamSummary Summary() const;

private:
    class Impl;
    const std::unique_ptr<Impl> impl_;
};

}  // namespace vms::host
