#pragma once

#include <sys/socket.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/Export.h"

namespace vms {

/// An address to connect to, with port.
struct ResolvedAddress {
    sockaddr_storage address{};
    socklen_t length = 0;
};

/// Looks up host names on threads of its own, since a dead name server holds a look-up for many
/// seconds: not too many at a time, so that the rest of the process does not pay for it.
/// Thread-safe.
class VMS_PLATFORM_API HostResolver {
public:
    using Addresses = std::vector<ResolvedAddress>;

    /// Called on a resolver thread; must not throw or block. @param error null, or what failed
    using Callback = std::function<void(const Addresses&, const char* error)>;

    /// Whether the asker still waits; a look-up that nobody waits for is not begun.
    using Wanted = std::shared_ptr<const std::atomic<bool>>;

    /// @param maxThreads names that are looked up at the same time, at least 1
    explicit HostResolver(int maxThreads = 64);

    /// Returns once no callback runs or will run, and all of them have been destroyed. Threads
    /// still inside a look-up are left behind and end with it; they hold nothing but memory of
    /// their own.
    ~HostResolver();
    HostResolver(const HostResolver&) = delete;
    HostResolver& operator=(const HostResolver&) = delete;

    /// The addresses of a text that is an address already; empty for a name.
    static Addresses Literal(const std::string& host, uint16_t port);

    /// @return false when no thread can be had
    bool Resolve(std::string host, uint16_t port, Wanted wanted, Callback callback);

private:
    class Shared;
    const std::shared_ptr<Shared> shared_;
};

}  // namespace vms
