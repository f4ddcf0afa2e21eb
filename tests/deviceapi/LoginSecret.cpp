// Prints one login secret:
//   login_secret proof|quorix-proof|key|quorix-key FIRST SECOND PASSWORD THIRD FOURTH on|off N
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "deviceapi/Tavero_Http_Encode.h"

namespace {

using Encode = Tavero_Http_Encode;

std::string Secret(const std::string& kind, char** texts, bool iterate, int iterations) {
    const char* const first = texts[0];
    const char* const second = texts[1];
    const char* const password = texts[2];
    std::array<char, 65> proof{};
    if (kind == "key")
        return Encode::GetAesKey(password, second, first, iterate, iterations);
    if (kind == "quorix-key")
        return Encode::GetQUORIXAesKey(password, second, first, iterate, iterations);
    const auto encode =
        kind == "proof" ? Encode::TV_Sha256_1Encode : Encode::TV_QUORIX_Sha256_Encode;
    encode(proof.data(), first, second, password, texts[3], texts[4], iterate, iterations);
    return proof.data();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 9)
        return 2;
    std::puts(Secret(argv[1], argv + 2, argv[7] == std::string("on"), std::atoi(argv[8])).c_str());
    return 0;
}
