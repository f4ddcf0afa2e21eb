#pragma once

#include <cstddef>

struct bio_st;

namespace vms::host {

/// What comes from a socket as OpenSSL reads it, a measured amount at a time: a peer that sends
/// without end what gives no bytes (renegotiations, new keys) does not hold the thread. It offers
/// the kernel no part in decryption, which is for those who receive much.
///
/// Owned by whoever owns the connection's SSL. @return null without memory
bio_st* MakeTlsInput(int socket);

/// Sets how many bytes may be read from now on.
void AllowInput(bio_st* input, size_t bytes);

/// What is left of that.
size_t InputLeft(bio_st* input);

}  // namespace vms::host
