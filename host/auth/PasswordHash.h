#pragma once

#include <string>

namespace vms::host {

/// The longest password that is looked at, bytes.
inline constexpr size_t kLongestPassword = 1024;

/// Argon2id with libsodium's interactive limits: 64 MiB of memory and two passes, so some dozens of
/// milliseconds of one core each time. On a thread that may compute. @throws HostError when there
/// is not enough memory
std::string HashPassword(const std::string& password);

/// Takes as long. @param hash as HashPassword made it; "" = there is no such user: as slow, false
bool IsPassword(const std::string& password, const std::string& hash);

}  // namespace vms::host
