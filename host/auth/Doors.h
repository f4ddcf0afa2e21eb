#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/auth/Accounts.h"
#include "host/auth/Credentials.h"
#include "host/auth/DigestAccess.h"
#include "host/auth/LoginDelays.h"
#include "host/auth/Logins.h"
#include "host/auth/SignedAddress.h"
#include "host/config/HostConfig.h"
#include "host/http/HttpGate.h"
#include "host/http/HttpOrigins.h"
#include "host/state/State.h"

class ILogHandler;

namespace vms::host {

/// Who may come in, by whatever door: HTTP with a session's cookie, a token or a signed address;
/// RTSP with digest access, a token or a signed address. As long as there are neither users nor
/// tokens, clients on this machine are let in as admins. Thread-safe.
class Doors {
public:
    /// Takes some dozens of milliseconds for each user of the configuration.
    /// @param state, log must outlive this object @throws HostError
    Doors(const HostConfig& config, State& state, ILogHandler& log, Accounts::Clock clock = {});
    Doors(const Doors&) = delete;
    Doors& operator=(const Doors&) = delete;

    /// @param host where a door listens @param member of the configuration that says so
    /// @throws HostError when others than this machine could come in, and nothing keeps them out
    void RequireGuarded(const std::string& host, const std::string& member) const;

    /// The gate of HTTP; this object must outlive it. Does not wait.
    HttpGate Gate();
    HttpAdmission Admit(const HttpRequest& request);

    /// What becomes of a request of another protocol.
    struct Entrance {
        int status = 0;                         ///< 0 = welcome, else 401, 403 or 429
        Identity identity{};                    ///< when welcome
        std::vector<std::string> challenges{};  ///< values for WWW-Authenticate, one a line
        std::chrono::seconds retryAfter{0};     ///< after 429
        std::string text{};                     ///< why not, for the status line or the log
    };

    /// For RTSP. Once a connection has been let in it need not be asked for again, until its
    /// identity's grant ends: then close it.
    /// @param uri "rtsp://host/live/DEVICE/0?stream=1" or only from its path on, as it was sent
    /// @param authorization header, "" = none
    /// @param peer numeric address
    /// @param done called once, inside the call or later on any thread; must not wait
    void Authenticate(const std::string& method, const std::string& uri,
                      const std::string& authorization, const std::string& peer,
                      const std::function<void(const Entrance&)>& done);

    Accounts& People() { return *accounts_; }
    const Credentials& Secrets() const { return credentials_; }
    Logins& Passwords() { return logins_; }
    const SignedAddress& Signer() const { return signer_; }
    int64_t Now() const { return clock_(); }
    /// Whether what is changed here outlives the host.
    bool Lasts() const { return lasts_; }

private:
    HttpAdmission Identify(const HttpRequest& request);
    HttpAdmission IdentifySigned(const HttpRequest& request) const;
    HttpAdmission IdentifySession(const HttpRequest& request, const std::string& key);
    HttpAdmission IdentifyNobody(const HttpRequest& request) const;
    Entrance Enter(const std::string& method, const HttpRequest& request,
                   const std::string& authorization);
    Entrance EnterByDigest(const std::string& method, const HttpRequest& request,
                           const DigestHeader& header);
    Entrance Challenge(const std::string& peer, bool isStale) const;

    const Accounts::Clock clock_;
    const bool lasts_;
    const HttpOrigins origins_;
    const Credentials credentials_;
    const std::shared_ptr<Accounts> accounts_;
    const SignedAddress signer_;
    DigestAccess digest_;
    LoginDelays delays_;
    ILogHandler& log_;
    Logins logins_;  ///< last: its thread uses the above
};

}  // namespace vms::host
