#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/auth/AccountRecords.h"
#include "host/auth/Secrets.h"
#include "host/state/State.h"

namespace vms::host {

/// What digest access (RFC 7616) compares with instead of a password: H(name ":" realm ":"
/// password), in hexadecimal.
struct DigestSecret {
    std::string md5;
    std::string sha256;
};

/// Makes what is kept of passwords and tokens. A password is kept as a slow hash, and for players
/// that only know digest access as a DigestSecret, which is as good as the password for that realm:
/// so it is sealed with a key that lies beside the state file, not in it. Thread-safe.
class Credentials {
public:
    /// Makes realm and keys of the state when it has none. @throws HostError
    explicit Credentials(State& state);

    /// The realm of this host: its name, and random letters, so that what is kept here is of no use
    /// elsewhere.
    const std::string& Realm() const { return realm_; }

    /// Signs addresses. Lasts as long as the state.
    const std::string& SigningKey() const { return signingKey_; }

    /// Takes as long as HashPassword.
    UserRecord MakeUser(const std::string& name, Role role, const std::string& password,
                        int64_t now) const;

    /// Gives a user another password, and a new stamp. Takes as long.
    void SetPassword(UserRecord& user, const std::string& password) const;

    /// Of the configuration: the stamp changes only with password or role. Takes as long.
    UserRecord MakeConfiguredUser(const std::string& name, Role role,
                                  const std::string& password) const;

    TokenRecord MakeToken(const std::string& name, Role role, const std::string& token, int64_t now,
                          int64_t expires) const;

    /// @return nothing when it was sealed with another key
    std::optional<DigestSecret> OpenDigest(const std::string& sealed) const;

private:
    std::string SealDigest(const std::string& name, const std::string& password) const;

    const Sealer sealer_;
    std::string realm_;
    std::string signingKey_;
};

/// The user name that goes with tokens in digest access.
inline constexpr char kTokenUser[] = "token";

/// What is wrong with the name of a user or token, "" = nothing: 1 to 64 letters, digits, "." "_"
/// "-" "@".
std::string NameProblem(const std::string& name);
/// The same, of a new password: 8 to 1,024 bytes.
std::string PasswordProblem(const std::string& password);

}  // namespace vms::host
