#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace vms::host {

/// 256 random bits as 43 letters of base64url: session keys, tokens, keys of our own.
std::string RandomSecret();

/// So many random bytes in lower-case hexadecimal.
std::string RandomHex(size_t bytes);

std::string Base64Url(std::string_view bytes);

/// The 32 bytes of SHA-256. Good for hiding random secrets, not passwords.
std::string Sha256(std::string_view text);

/// Lower-case hexadecimal digests, as digest access has them.
std::string Sha256Hex(std::string_view text);
std::string Md5Hex(std::string_view text);

/// The 32 bytes of HMAC-SHA256. @param key of any length
std::string HmacSha256(std::string_view key, std::string_view text);

/// Takes as long for a wrong text as for the right one.
bool SameSecret(std::string_view one, std::string_view other);

/// Keeps small secrets in a file that may be copied without its key. Thread-safe.
class Sealer {
public:
    static constexpr size_t kKeyBytes = 32;

    /// @param key `kKeyBytes` long
    explicit Sealer(std::string key) : key_(std::move(key)) {}

    std::string Seal(std::string_view plain) const;
    /// @return nothing when it was not sealed with this key
    std::optional<std::string> Open(std::string_view sealed) const;

private:
    const std::string key_;
};

}  // namespace vms::host
