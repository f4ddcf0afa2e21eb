#include "host/auth/PasswordHash.h"

#include <sodium.h>

#include "host/auth/Secrets.h"
#include "host/text/HostError.h"

namespace vms::host {

std::string HashPassword(const std::string& password) {
    std::string hash(crypto_pwhash_STRBYTES, '\0');
    if (crypto_pwhash_str(hash.data(), password.data(), password.size(),
                          crypto_pwhash_OPSLIMIT_INTERACTIVE,
                          crypto_pwhash_MEMLIMIT_INTERACTIVE) != 0)
        throw HostError("there is not enough memory to hash a password");
    hash.resize(hash.find('\0'));
    return hash;
}

bool IsPassword(const std::string& password, const std::string& hash) {
    static const std::string nobodys = HashPassword(RandomSecret());
    const std::string& compared = hash.empty() ? nobodys : hash;
    return crypto_pwhash_str_verify(compared.c_str(), password.data(), password.size()) == 0 &&
           !hash.empty();
}

}  // namespace vms::host
