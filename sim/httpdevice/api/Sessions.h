#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

#include "platform/Mutex.h"
#include "sim/httpdevice/api/LoginProof.h"
#include "sim/httpdevice/api/ResultCode.h"

namespace vms::sim::httpdevice {

using Clock = std::chrono::steady_clock;

/// The account of a device and how it proves itself.
struct Account {
    std::string user;
    std::string password;
    LoginFamily family = LoginFamily::kSha256;
    int iterations = 100;
    bool enableIteration = true;
    std::chrono::seconds sessionTime{60};
};

/// Random hexadecimal text of so many bytes.
std::string RandomHex(size_t bytes);

/// The session value behind a "NAME=TOKEN" or a bare token.
std::string TokenOf(const std::string& value);

/// Challenges handed out and sessions open on one device. Safe from several threads; time is the
/// caller's.
class Sessions {
public:
    explicit Sessions(Account account);

    const Account& account() const { return account_; }
    /// Of proofs and of the key; constant for a device.
    const std::string& salt() const { return salt_; }

    /// A challenge for one attempt. At most 1,000 wait; the oldest goes first.
    Challenge Issue(Clock::time_point now, int iterations) VMS_EXCLUDES(mutex_);

    /// Uses the challenge up. @param token receives the new session
    ResultCode Login(Clock::time_point now, const std::string& sessionId, const std::string& user,
                     const std::string& proof, std::string& token) VMS_EXCLUDES(mutex_);

    /// Whether the session holds; extends its life when `extend`.
    ResultCode Check(Clock::time_point now, const std::string& token, bool extend)
        VMS_EXCLUDES(mutex_);
    bool Logout(const std::string& token) VMS_EXCLUDES(mutex_);
    /// Every session counts as expired from now on.
    void ExpireAll() VMS_EXCLUDES(mutex_);
    size_t open(Clock::time_point now) const VMS_EXCLUDES(mutex_);

    /// Keeps what the client must answer to show that it has the key.
    void SetNonce(const std::string& token, const std::string& nonce) VMS_EXCLUDES(mutex_);
    /// Uses the nonce up.
    ResultCode ProveKey(const std::string& token, const std::string& nonce) VMS_EXCLUDES(mutex_);
    bool KeyProven(const std::string& token) const VMS_EXCLUDES(mutex_);

private:
    struct Pending {
        Challenge challenge;
        Clock::time_point issued;
    };
    struct Session {
        Clock::time_point until;
        std::string nonce;
        bool keyProven = false;
    };

    std::optional<Challenge> TakeChallenge(Clock::time_point now, const std::string& sessionId)
        VMS_EXCLUDES(mutex_);

    const Account account_;
    const std::string salt_;

    mutable Mutex mutex_;
    std::map<std::string, Pending> pending_ VMS_GUARDED_BY(mutex_);
    std::map<std::string, Session> sessions_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::sim::httpdevice
