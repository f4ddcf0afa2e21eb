#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "host/net/TlsCredentials.h"
#include "platform/Mutex.h"

struct ssl_ctx_st;
struct ssl_st;

namespace vms::host {

struct SslDeleter {
    void operator()(ssl_st* tls) const;
    void operator()(ssl_ctx_st* context) const;
};
using Ssl = std::unique_ptr<ssl_st, SslDeleter>;

/// How this host proves who it is in TLS handshakes, and what it agrees to: TLS 1.2 and 1.3 with
/// forward secrecy and authenticated encryption, neither renegotiation nor compression.
/// Thread-safe.
class TlsContext {
public:
    /// Gives certificate and key; called at once and at each Reload. May throw HostError.
    using Source = std::function<TlsCredentials()>;

    /// @throws HostError when they are of no use
    explicit TlsContext(Source source);
    ~TlsContext();
    TlsContext(const TlsContext&) = delete;
    TlsContext& operator=(const TlsContext&) = delete;

    /// Takes certificate and key anew, for handshakes from now on; connections that stand go on.
    /// @throws HostError when they are of no use: those from before stay
    void Reload() VMS_EXCLUDES(mutex_);

    TlsCertificate Certificate() const VMS_EXCLUDES(mutex_);

    /// The host's side of a new connection. @return null without memory
    Ssl NewConnection() const VMS_EXCLUDES(mutex_);

private:
    using Context = std::unique_ptr<ssl_ctx_st, SslDeleter>;

    const Source source_;
    mutable Mutex mutex_;
    Context context_ VMS_GUARDED_BY(mutex_);
    TlsCertificate certificate_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::host
