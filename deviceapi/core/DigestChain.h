#pragma once

#include <openssl/evp.h>

#include <array>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>

namespace vms {

/// SHA-256 digests of digests, on raw bytes and one context throughout. Belongs to one thread.
class DigestChain {
public:
    /// The digest of the parts, one behind the other.
    explicit DigestChain(std::initializer_list<std::string_view> parts);

    /// Replaces the digest by that of its 32 bytes followed by `text`.
    void Append(std::string_view text);

    /// Replaces the digest by that of its 32 bytes, `times` times; 0 or less does nothing.
    void Repeat(int times);

    /// 64 lower-case hexadecimal digits; empty if the cryptographic library has failed.
    std::string Hex() const;

private:
    struct ContextDelete {
        void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    };

    bool Start();
    bool Update(std::string_view part);
    bool Finish();
    std::string_view Bytes() const;

    const std::unique_ptr<EVP_MD_CTX, ContextDelete> context_;
    std::array<unsigned char, 32> digest_{};
    bool valid_ = false;  ///< every step so far has worked
};

}  // namespace vms
