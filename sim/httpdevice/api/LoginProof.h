#pragma once

#include <string>

namespace vms::sim::httpdevice {

/// The two manners of proving a password.
enum class LoginFamily { kSha256, kQuorix };

/// The name that devices announce.
const char* NameOf(LoginFamily family);

/// What the device hands out before a login.
struct Challenge {
    std::string sessionId;
    std::string challenge;
    std::string salt;
    int iterations = 0;  ///< further rounds
    bool enableIteration = true;
};

/// The proof that a client who knows the password sends: 64 hexadecimal characters.
std::string ExpectedProof(LoginFamily family, const std::string& user, const std::string& password,
                          const Challenge& challenge);

/// The AES key that both sides derive: 16 characters, used as 16 bytes.
/// Salt and rounds are not used by Quorix.
std::string DeriveKey(LoginFamily family, const std::string& user, const std::string& password,
                      const std::string& salt, int iterations);

/// One AES-128-CBC block without padding. All three texts have 16 bytes.
std::string EncryptBlock(const std::string& key, const std::string& iv, const std::string& block);

}  // namespace vms::sim::httpdevice
