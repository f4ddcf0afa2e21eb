#pragma once

#include <string>
#include <vector>

#include "host/stream/PlayerRequest.h"

class ILogHandler;
class IStreamModule;

namespace vms::host {

/// Hands what players do to the modules that stream, in the order of the configuration. A module
/// that throws has done nothing. Thread-safe; events of one player come one after the other.
class StreamModules {
public:
    /// @param modules not owned; they and the log must outlive this object
    StreamModules(std::vector<IStreamModule*> modules, ILogHandler& log)
        : modules_(std::move(modules)), log_(log) {}

    void OnConnect(long long connection, const std::string& address, int port);
    void OnClose(long long connection, int reason, const std::string& text);

    /// Asks one module after the other until one carries the request out. May take seconds.
    /// @return 0 when one did, -1 otherwise
    int OnRequest(long long connection, const PlayerRequest& request);

    /// @param unit a whole binary frame of the player
    void OnStream(long long connection, std::string& unit);

private:
    template <class Call>
    int Guarded(const char* function, Call call) const noexcept;

    const std::vector<IStreamModule*> modules_;
    ILogHandler& log_;
};

}  // namespace vms::host
