#include "platform/Base64.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cstddef>

std::string base64_encode(const unsigned char* data, unsigned int length) {
    if (data == nullptr || length == 0)
        return {};
    // A multiple of three, so that padding arises at the very end only, and small enough for an
    // int.
    constexpr size_t kChunk = 3u << 24;
    std::string text((size_t{length} + 2) / 3 * 4, '\0');
    auto* out = reinterpret_cast<unsigned char*>(text.data());
    for (size_t done = 0; done < length; done += kChunk) {
        const size_t count = std::min(kChunk, length - done);
        out += EVP_EncodeBlock(out, data + done, static_cast<int>(count));
    }
    return text;
}
