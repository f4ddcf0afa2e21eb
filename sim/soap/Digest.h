#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vms::sim {

std::string EncodeBase64(std::string_view bytes);
/// @return nothing when `text` is not Base64
std::optional<std::string> DecodeBase64(std::string_view text);

/// Base64(SHA-1(nonce + created + password)), the nonce as bytes.
std::string PasswordDigest(std::string_view nonce, std::string_view created,
                           std::string_view password);

}  // namespace vms::sim
