#include "sim/httpdevice/api/Sha256.h"

#include <array>
#include <cstdint>

#include <nettle/sha2.h>

namespace vms::sim::httpdevice {

std::string Sha256(std::string_view text) {
    sha256_ctx context;
    sha256_init(&context);
    sha256_update(&context, text.size(), reinterpret_cast<const uint8_t*>(text.data()));
    std::array<uint8_t, SHA256_DIGEST_SIZE> digest{};
    sha256_digest(&context, digest.size(), digest.data());
    return {digest.begin(), digest.end()};
}

std::string ToHex(std::string_view bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        text += kDigits[static_cast<unsigned char>(byte) >> 4];
        text += kDigits[byte & 0x0f];
    }
    return text;
}

}  // namespace vms::sim::httpdevice
