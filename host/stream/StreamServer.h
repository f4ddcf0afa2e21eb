#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/HostConfig.h"
#include "host/http/HttpExchange.h"
#include "host/stream/PlayerInfo.h"
#include "host/stream/SendQueue.h"
#include "platform/IStreamConnectionController.h"
#include "platform/IStreamFanOut.h"

class ILogHandler;
class IStreamModule;

namespace vms {

/// The host's one listener: players over WebSocket at /stream, everything else over HTTP. Offers
/// its fan-out to modules while it lives. Thread-safe, except that Start and Stop are called once
/// each, in this order, by one thread.
class StreamServer final : public IStreamConnectionController, public IStreamFanOut {
public:
    /// Listens at once, so that modules can be told the address; serves from Start on.
    /// @param log must outlive this object @throws HostError
    StreamServer(const HttpConfig& config, ILogHandler& log, const SendLimits& limits = {});

    /// Stops unless that has been done.
    ~StreamServer();
    StreamServer(const StreamServer&) = delete;
    StreamServer& operator=(const StreamServer&) = delete;

    /// @param modules that stream, in the order in which they are asked; must outlive Stop
    /// @param handler serves HTTP requests; at most 64 POSTs at a time, others beside them
    void Start(std::vector<IStreamModule*> modules, HttpHandler handler);

    /// Closes all connections and returns when the modules have heard of each. Waits for handlers
    /// and modules that are busy, however long.
    void Stop();

    int Port() const;
    std::vector<PlayerInfo> Players() const;
    StreamSummary Summary() const;

    int SendData(long long connectionId, const char* data, int length, bool isPlayback) override;
    int SendCommand(long long connectionId, __tagTvCommand* command) override;
    void CloseConnection(long long connectionId) override;
    void GetServerAddress(std::string& host, int& port) override;
    int QueryDataCount(long long connectionId) override;

    int SendToAll(const long long* connectionIds, size_t count, const char* data, int length,
                  bool isPlayback, std::vector<long long>& failed) noexcept override;

private:
    class Impl;
    const std::unique_ptr<Impl> impl_;
};

}  // namespace vms
