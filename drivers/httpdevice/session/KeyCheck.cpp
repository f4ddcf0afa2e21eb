#include "drivers/httpdevice/session/KeyCheck.h"

#include <json/value.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <memory>
#include <optional>

#include "platform/Json.h"

namespace vms::httpdevice {
namespace {

constexpr size_t kBlockSize = 16;
constexpr size_t kBlockBase64 = 24;  // with two characters of padding

using Block = std::array<unsigned char, kBlockSize>;

std::optional<Block> DecodeBlock(const Json::Value& object, const char* name) {
    std::string text;
    if (!ReadString(object, name, text) || text.size() != kBlockBase64 || !text.ends_with("=="))
        return {};
    std::array<unsigned char, kBlockSize + 2> decoded{};  // the padding counts as zeros
    const int length =
        EVP_DecodeBlock(decoded.data(), reinterpret_cast<const unsigned char*>(text.data()),
                        static_cast<int>(text.size()));
    if (length != static_cast<int>(decoded.size()))
        return {};
    Block block;
    std::copy_n(decoded.begin(), kBlockSize, block.begin());
    return block;
}

std::optional<std::string> Decrypt(const std::string& key, const Block& iv, const Block& data) {
    const std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX*)> context(EVP_CIPHER_CTX_new(),
                                                                             &EVP_CIPHER_CTX_free);
    std::array<unsigned char, 2 * kBlockSize> plain{};
    int length = 0;
    if (context == nullptr ||
        EVP_DecryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr,
                           reinterpret_cast<const unsigned char*>(key.data()), iv.data()) != 1 ||
        EVP_CIPHER_CTX_set_padding(context.get(), 0) != 1 ||
        EVP_DecryptUpdate(context.get(), plain.data(), &length, data.data(), kBlockSize) != 1 ||
        length != static_cast<int>(kBlockSize))
        return {};
    return std::string(plain.begin(), plain.begin() + length);
}

}  // namespace

std::string AnswerKeyCheck(const std::string& answer, const std::string& key) {
    Json::Value root;
    ParseJson(answer.c_str(), root);
    const Json::Value& check = Member(Member(root, "data"), "keyCheck");
    const auto iv = DecodeBlock(check, "iv");
    const auto data = DecodeBlock(check, "data");
    if (!iv || !data || key.size() != kBlockSize)
        return {};
    const auto plain = Decrypt(key, *iv, *data);
    const auto isDigit = [](unsigned char c) { return std::isxdigit(c) != 0; };
    const bool opened = plain && std::all_of(plain->begin(), plain->end(), isDigit);
    return opened ? *plain : "";
}

}  // namespace vms::httpdevice
