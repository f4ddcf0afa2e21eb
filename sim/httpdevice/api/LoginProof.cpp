#include "sim/httpdevice/api/LoginProof.h"

#include <array>
#include <cstdint>
#include <cstring>

#include <nettle/aes.h>
#include <nettle/cbc.h>

#include "sim/httpdevice/api/Sha256.h"
#include "sim/soap/Digest.h"

namespace vms::sim::httpdevice {

namespace {

constexpr const char* kQuorixSalt =
    "3e9c07d2a41f58b6c0d9e2f7a3b81c45d6e9f0a2b3c4d5e6f708192a3b4c5d6e";
constexpr const char* kPepper = "Cider!@%&$";
constexpr size_t kKeyStart = 22;
constexpr size_t kKeyLength = 16;

std::string Repeat(std::string digest, int rounds) {
    for (int i = 0; i < rounds; ++i)
        digest = Sha256(digest);
    return digest;
}

std::string KeyPart(const std::string& digest) {
    return ToHex(digest).substr(kKeyStart, kKeyLength);
}

const uint8_t* Bytes(const std::string& text) {
    return reinterpret_cast<const uint8_t*>(text.data());
}

}  // namespace

const char* NameOf(LoginFamily family) {
    return family == LoginFamily::kQuorix ? "quorix" : "sha256-1";
}

std::string ExpectedProof(LoginFamily family, const std::string& user, const std::string& password,
                          const Challenge& challenge) {
    const std::string secret = EncodeBase64(password);
    if (family == LoginFamily::kQuorix)
        return ToHex(Sha256(user + kQuorixSalt + secret + challenge.challenge));
    const std::string inner = Sha256(user + challenge.salt + secret + challenge.challenge);
    const int rounds = challenge.enableIteration ? challenge.iterations : 0;
    return ToHex(Repeat(Sha256(inner + challenge.sessionId), rounds));
}

std::string DeriveKey(LoginFamily family, const std::string& user, const std::string& password,
                      const std::string& salt, int iterations) {
    const std::string secret = EncodeBase64(password);
    if (family == LoginFamily::kQuorix)
        return KeyPart(Sha256(user + kQuorixSalt + secret));
    return KeyPart(Repeat(Sha256(Sha256(user + salt + secret) + kPepper), iterations));
}

std::string EncryptBlock(const std::string& key, const std::string& iv, const std::string& block) {
    aes128_ctx context;
    aes128_set_encrypt_key(&context, Bytes(key));
    std::array<uint8_t, AES_BLOCK_SIZE> chain{};
    std::memcpy(chain.data(), iv.data(), chain.size());
    std::array<uint8_t, AES_BLOCK_SIZE> out{};
    cbc_encrypt(&context, reinterpret_cast<nettle_cipher_func*>(aes128_encrypt), chain.size(),
                chain.data(), out.size(), out.data(), Bytes(block));
    return {out.begin(), out.end()};
}

}  // namespace vms::sim::httpdevice
