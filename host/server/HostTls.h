#pragma once

#include <chrono>
#include <memory>

#include "host/config/HostConfig.h"
#include "host/net/TlsContext.h"

class ILogHandler;

namespace vms::host {

/// The host's certificate as it is configured, and a line about it for the log: from files, or of
/// the host's own making, which is kept in the state folder.
/// @return null when no TLS is configured @throws HostError
std::shared_ptr<TlsContext> MakeHostTls(const HostConfig& config, ILogHandler& log);

/// Takes the certificate anew; one that is of no use changes nothing. Says in the log what has come
/// of it.
void ReloadHostTls(TlsContext& tls, ILogHandler& log);

/// Warns once a day while the time of a certificate is over or nearly so. Of one thread.
class CertificateWatch {
public:
    using Time = std::chrono::system_clock::time_point;

    /// @param tls null = nothing to watch @param log must outlive this object
    CertificateWatch(std::shared_ptr<TlsContext> tls, ILogHandler& log);

    /// To be called every now and then.
    void Look(Time now);

private:
    const std::shared_ptr<TlsContext> tls_;
    ILogHandler& log_;
    Time next_;
};

}  // namespace vms::host
