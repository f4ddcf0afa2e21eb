#include "host/auth/Secrets.h"

#include <openssl/evp.h>
#include <sodium.h>

#include "host/text/HostError.h"

namespace vms::host {
namespace {

const unsigned char* Bytes(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

unsigned char* Bytes(std::string& text) {
    return reinterpret_cast<unsigned char*>(text.data());
}

void RequireSodium() {
    static const bool isReady = sodium_init() >= 0;
    if (!isReady)
        throw HostError("the cryptography library cannot be used");
}

std::string RandomBytes(size_t count) {
    RequireSodium();
    std::string bytes(count, '\0');
    randombytes_buf(bytes.data(), count);
    return bytes;
}

std::string Hex(std::string_view bytes) {
    std::string text(2 * bytes.size() + 1, '\0');
    sodium_bin2hex(text.data(), text.size(), Bytes(bytes), bytes.size());
    text.pop_back();
    return text;
}

}  // namespace

std::string RandomSecret() {
    return Base64Url(RandomBytes(32));
}

std::string RandomHex(size_t bytes) {
    return Hex(RandomBytes(bytes));
}

std::string Base64Url(std::string_view bytes) {
    constexpr int kVariant = sodium_base64_VARIANT_URLSAFE_NO_PADDING;
    std::string text(sodium_base64_encoded_len(bytes.size(), kVariant), '\0');
    sodium_bin2base64(text.data(), text.size(), Bytes(bytes), bytes.size(), kVariant);
    text.pop_back();
    return text;
}

std::string Sha256(std::string_view text) {
    std::string digest(crypto_hash_sha256_BYTES, '\0');
    crypto_hash_sha256(Bytes(digest), Bytes(text), text.size());
    return digest;
}

std::string Sha256Hex(std::string_view text) {
    return Hex(Sha256(text));
}

std::string Md5Hex(std::string_view text) {
    std::string digest(EVP_MAX_MD_SIZE, '\0');
    unsigned length = 0;
    if (EVP_Digest(text.data(), text.size(), Bytes(digest), &length, EVP_md5(), nullptr) != 1)
        throw HostError("MD5 cannot be computed");
    digest.resize(length);
    return Hex(digest);
}

std::string HmacSha256(std::string_view key, std::string_view text) {
    crypto_auth_hmacsha256_state state;
    crypto_auth_hmacsha256_init(&state, Bytes(key), key.size());
    crypto_auth_hmacsha256_update(&state, Bytes(text), text.size());
    std::string digest(crypto_auth_hmacsha256_BYTES, '\0');
    crypto_auth_hmacsha256_final(&state, Bytes(digest));
    return digest;
}

bool SameSecret(std::string_view one, std::string_view other) {
    return one.size() == other.size() && sodium_memcmp(one.data(), other.data(), one.size()) == 0;
}

std::string Sealer::Seal(std::string_view plain) const {
    std::string sealed = RandomBytes(crypto_secretbox_NONCEBYTES);
    std::string box(plain.size() + crypto_secretbox_MACBYTES, '\0');
    crypto_secretbox_easy(Bytes(box), Bytes(plain), plain.size(), Bytes(std::string_view(sealed)),
                          Bytes(std::string_view(key_)));
    return sealed + box;
}

std::optional<std::string> Sealer::Open(std::string_view sealed) const {
    constexpr size_t kExtra = crypto_secretbox_NONCEBYTES + crypto_secretbox_MACBYTES;
    if (sealed.size() < kExtra)
        return std::nullopt;
    const std::string_view box = sealed.substr(crypto_secretbox_NONCEBYTES);
    std::string plain(sealed.size() - kExtra, '\0');
    if (crypto_secretbox_open_easy(Bytes(plain), Bytes(box), box.size(), Bytes(sealed),
                                   Bytes(std::string_view(key_))) != 0)
        return std::nullopt;
    return plain;
}

}  // namespace vms::host
