#pragma once

#include <optional>
#include <string>

#include "drivers/httpdevice/http/HttpTransfer.h"
#include "drivers/httpdevice/session/DeviceAddress.h"

namespace vms::httpdevice {

/// The most rounds of hashing that a device may ask for: about a second of work.
inline constexpr int kMaxIterations = 1'000'000;

struct LoginOutcome {
    enum class Kind {
        kDone,
        kUnreachable,  ///< not even an answer to the request for a challenge
        kFellSilent,   ///< none to a later request
        kRefused,      ///< the device does not want us, or we do not want it
    };
    Kind kind = Kind::kRefused;
    std::string session;      ///< of kDone; of the others: to be logged out, "" = there is none
    const char* reason = "";  ///< of all but kDone, for the log
};

/// Proves to the device that both sides have the same AES key: which requests to send, one after
/// the other, and what their answers mean. Who carries them is not its business. Thread-bound.
class KeyProof {
public:
    /// @param address stays alive as long as this
    KeyProof(const DeviceAddress& address, std::string session);

    HttpRequest Begin() const;
    /// Takes the answer to the last request; hashes, for a second at most.
    /// @return the next request; nothing at the end
    std::optional<HttpRequest> Take(const HttpReply& reply);
    bool Believed() const { return believed_; }

private:
    std::string Solve(const std::string& answer) const;

    const DeviceAddress& address_;
    const std::string session_;
    bool asked_ = false;
    bool believed_ = false;
};

/// Logs in, in the same way: challenge, proof, session, and the proof of the key where the device's
/// login family wants one. Thread-bound.
class LoginDialog {
public:
    /// @param address stays alive as long as this
    explicit LoginDialog(const DeviceAddress& address);

    HttpRequest Begin() const;
    /// Takes the answer to the last request; hashes, for a second at most.
    /// @return the next request; nothing at the end
    std::optional<HttpRequest> Take(const HttpReply& reply);
    /// Once Take has given nothing.
    const LoginOutcome& Outcome() const { return outcome_; }

private:
    std::optional<HttpRequest> TakeChallenge(const std::string& answer);
    std::optional<HttpRequest> TakeSession(const std::string& answer);
    std::optional<HttpRequest> TakeKeyAnswer(const HttpReply& reply);
    std::nullopt_t End(LoginOutcome::Kind kind, const char* reason);

    const DeviceAddress& address_;
    bool challenged_ = false;
    bool provesKey_ = false;
    std::optional<KeyProof> proof_;
    LoginOutcome outcome_;
};

}  // namespace vms::httpdevice
