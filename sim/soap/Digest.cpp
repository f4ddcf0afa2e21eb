#include "sim/soap/Digest.h"

#include <algorithm>
#include <vector>

#include <openssl/evp.h>

namespace vms::sim {

namespace {

const unsigned char* Bytes(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

}  // namespace

std::string EncodeBase64(std::string_view bytes) {
    std::vector<unsigned char> out((bytes.size() + 2) / 3 * 4 + 1);
    const int length = EVP_EncodeBlock(out.data(), Bytes(bytes), static_cast<int>(bytes.size()));
    return {reinterpret_cast<const char*>(out.data()), static_cast<size_t>(length)};
}

std::optional<std::string> DecodeBase64(std::string_view text) {
    const size_t padding = text.size() - std::min(text.size(), text.find_last_not_of('=') + 1);
    if (text.size() % 4 != 0 || padding > 2)
        return std::nullopt;
    std::vector<unsigned char> out(text.size() / 4 * 3 + 1);
    const int length = EVP_DecodeBlock(out.data(), Bytes(text), static_cast<int>(text.size()));
    if (length < 0)
        return std::nullopt;
    return std::string(reinterpret_cast<const char*>(out.data()),
                       static_cast<size_t>(length) - padding);
}

std::string PasswordDigest(std::string_view nonce, std::string_view created,
                           std::string_view password) {
    std::string text(nonce);
    text.append(created).append(password);
    unsigned char hash[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(text.data(), text.size(), hash, &length, EVP_sha1(), nullptr);
    return EncodeBase64({reinterpret_cast<const char*>(hash), length});
}

}  // namespace vms::sim
