#include "deviceapi/core/DigestChain.h"

namespace vms {

DigestChain::DigestChain(std::initializer_list<std::string_view> parts)
    : context_(EVP_MD_CTX_new()) {
    valid_ = context_ != nullptr && EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) == 1;
    for (const std::string_view part : parts)
        valid_ = valid_ && Update(part);
    valid_ = valid_ && Finish();
}

void DigestChain::Append(std::string_view text) {
    valid_ = valid_ && Start() && Update(Bytes()) && Update(text) && Finish();
}

void DigestChain::Repeat(int times) {
    for (int i = 0; valid_ && i < times; ++i)
        valid_ = Start() && Update(Bytes()) && Finish();
}

std::string DigestChain::Hex() const {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    if (!valid_)
        return text;
    text.reserve(2 * digest_.size());
    for (const unsigned char byte : digest_) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

// Without an algorithm the context keeps its own: the look-up is paid once.
bool DigestChain::Start() {
    return EVP_DigestInit_ex(context_.get(), nullptr, nullptr) == 1;
}

bool DigestChain::Update(std::string_view part) {
    return EVP_DigestUpdate(context_.get(), part.data(), part.size()) == 1;
}

bool DigestChain::Finish() {
    return EVP_DigestFinal_ex(context_.get(), digest_.data(), nullptr) == 1;
}

std::string_view DigestChain::Bytes() const {
    return {reinterpret_cast<const char*>(digest_.data()), digest_.size()};
}

}  // namespace vms
