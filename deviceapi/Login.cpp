// Password proofs and session keys of both device families.
#include <cstdlib>
#include <cstring>

#include "deviceapi/Tavero_Http_Encode.h"
#include "deviceapi/core/DigestChain.h"
#include "deviceapi/core/Text.h"
#include "platform/Base64.h"

namespace {

using vms::DigestChain;
using vms::TextOf;

/// Used as text, not as the bytes it could stand for.
constexpr std::string_view kQuorixSalt =
    "3e9c07d2a41f58b6c0d9e2f7a3b81c45d6e9f0a2b3c4d5e6f708192a3b4c5d6e";
constexpr std::string_view kAesPepper = "Cider!@%&$";

// The key is this stretch of the digest's hexadecimal text.
constexpr size_t kKeyBegin = 22;
constexpr size_t kKeyLength = 16;

std::string EncodePassword(const char* password) {
    const std::string_view text = TextOf(password);
    return base64_encode(reinterpret_cast<const unsigned char*>(text.data()),
                         static_cast<unsigned int>(text.size()));
}

void CopyProof(const DigestChain& digest, char* out) {
    const std::string proof = digest.Hex();
    std::memcpy(out, proof.c_str(), proof.size() + 1);
}

std::string KeyOf(const DigestChain& digest) {
    const std::string hex = digest.Hex();
    return hex.size() < kKeyBegin ? "" : hex.substr(kKeyBegin, kKeyLength);
}

}  // namespace

void Tavero_Http_Encode::TV_Sha256_1Encode(char* out, const char* first, const char* second,
                                           const char* password, const char* third,
                                           const char* fourth, bool enableIteration,
                                           int iterations) {
    if (out == nullptr)
        return;
    DigestChain digest({TextOf(first), TextOf(third), EncodePassword(password), TextOf(second)});
    digest.Append(TextOf(fourth));
    if (enableIteration)
        digest.Repeat(iterations);
    CopyProof(digest, out);
}

void Tavero_Http_Encode::TV_QUORIX_Sha256_Encode(char* out, const char* first, const char* second,
                                                 const char* password, const char* /*third*/,
                                                 const char* /*fourth*/, bool /*enableIteration*/,
                                                 int /*iterations*/) {
    if (out == nullptr)
        return;
    const DigestChain digest(
        {TextOf(first), kQuorixSalt, EncodePassword(password), TextOf(second)});
    CopyProof(digest, out);
}

std::string Tavero_Http_Encode::GetAesKey(const char* password, const char* second,
                                          const char* first, bool enableIteration, int iterations) {
    DigestChain digest({TextOf(first), TextOf(second), EncodePassword(password)});
    digest.Append(kAesPepper);
    if (enableIteration)
        digest.Repeat(iterations);
    return KeyOf(digest);
}

std::string Tavero_Http_Encode::GetQUORIXAesKey(const char* password, const char* /*ignored*/,
                                                const char* first, bool /*enableIteration*/,
                                                int /*iterations*/) {
    return KeyOf(DigestChain({TextOf(first), kQuorixSalt, EncodePassword(password)}));
}

void Tavero_Http_Encode::Base64Encode(const char* in, int len, char* out) {
    if (out == nullptr)
        return;
    std::string text;
    if (len > 0)
        text = base64_encode(reinterpret_cast<const unsigned char*>(in),
                             static_cast<unsigned int>(len));
    std::memcpy(out, text.c_str(), text.size() + 1);
}

std::string Tavero_Http_Encode::Hex2Str(std::string hex) {
    std::string bytes;
    bytes.reserve((hex.size() + 1) / 2);
    for (size_t i = 0; i < hex.size(); i += 2) {
        const std::string pair = hex.substr(i, 2);
        bytes += static_cast<char>(std::strtol(pair.c_str(), nullptr, 16));
    }
    return bytes;
}
