#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "host/auth/Accounts.h"
#include "host/auth/LoginDelays.h"
#include "host/auth/PasswordLane.h"

class ILogHandler;

namespace vms::host {

/// Lets users in by their passwords. Passwords are looked at in a lane of their own, in which
/// addresses take turns; whoever guesses is slowed down. Thread-safe.
class Logins {
public:
    struct Outcome {
        int status = 200;   ///< 200, 401 wrong, 429 too often, 503 the state cannot be written
        std::string key{};  ///< of the session that has begun
        Identity identity{};
        std::chrono::seconds retryAfter{0};  ///< after 429
        std::string text{};                  ///< why not
    };
    /// Called once, on any thread; must not wait. Dropped uncalled when the host ends.
    using Done = std::function<void(const Outcome&)>;

    /// All must outlive this object.
    Logins(std::shared_ptr<Accounts> accounts, LoginDelays& delays, ILogHandler& log);

    /// @param address numeric, of who asks
    void Begin(const std::string& name, const std::string& password, const std::string& address,
               Done done);

    /// Has something done that hashes a password, on the lane. @return false when too much waits
    [[nodiscard]] bool PostSlow(const std::string& address, PasswordLane::Job job);

private:
    void LookAt(const std::string& name, const std::string& password, const std::string& address,
                const Done& done);

    const std::shared_ptr<Accounts> accounts_;
    LoginDelays& delays_;
    ILogHandler& log_;
    PasswordLane lane_;  ///< last: its thread uses all of the above
};

/// The refusal of who must wait.
Logins::Outcome TooOften(std::chrono::seconds wait);

}  // namespace vms::host
