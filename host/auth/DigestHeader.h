#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace vms::host {

/// The parameters of an Authorization header of digest access (RFC 7616, 3.4).
struct DigestHeader {
    std::string username;
    std::string realm;
    std::string nonce;
    std::string uri;
    std::string response;   ///< in lower case
    std::string algorithm;  ///< in upper case, "MD5" if there is none
    std::string qop;        ///< "" = none, as older players do
    std::string cnonce;
    std::string count;  ///< "nc" as it was sent: it is part of what is hashed
};

/// Longer headers are not read, bytes.
inline constexpr size_t kLongestDigestHeader = 4096;

/// Reads "Digest name=value, name="quoted \"value\"", ...".
/// @return nothing when it is none of that, lacks username, nonce, uri or response, or names one
/// parameter twice
std::optional<DigestHeader> ReadDigestHeader(std::string_view text);

/// A text within quotes, with what would end them escaped.
std::string Quoted(std::string_view text);

}  // namespace vms::host
