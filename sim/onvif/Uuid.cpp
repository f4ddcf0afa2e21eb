#include "sim/onvif/Uuid.h"

#include <cstdio>

#include <openssl/evp.h>
#include <openssl/rand.h>

namespace vms::sim {

namespace {

std::string Format(unsigned char* bytes, int version) {
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0f) | (version << 4));
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3f) | 0x80);
    std::string text;
    for (int i = 0; i < 16; ++i) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(bytes[i]));
        text += digits;
        if (i == 3 || i == 5 || i == 7 || i == 9)
            text += '-';
    }
    return text;
}

}  // namespace

std::string RandomUuid() {
    unsigned char bytes[16] = {};
    RAND_bytes(bytes, sizeof bytes);
    return Format(bytes, 4);
}

std::string NamedUuid(std::string_view name) {
    unsigned char hash[EVP_MAX_MD_SIZE] = {};
    unsigned int length = 0;
    EVP_Digest(name.data(), name.size(), hash, &length, EVP_sha1(), nullptr);
    return Format(hash, 5);
}

}  // namespace vms::sim
