#pragma once

#include <cstdint>
#include <string>

#include "host/config/Role.h"

namespace vms::host {

// Times are seconds since the epoch, UTC.

struct UserRecord {
    std::string name{};
    Role role = Role::kNone;
    std::string password{};  ///< as HashPassword made it
    std::string digest{};    ///< sealed, see Credentials
    std::string stamp{};     ///< another after each change of password or role
    int64_t created = 0;
    bool isConfigured = false;  ///< of the configuration, not of the state
};

struct TokenRecord {
    std::string name{};
    Role role = Role::kNone;
    std::string hash{};    ///< Sha256 of it
    std::string digest{};  ///< sealed, see Credentials
    int64_t created = 0;
    int64_t expires = 0;  ///< 0 = never
    bool isConfigured = false;
};

struct SessionRecord {
    std::string hash{};  ///< Sha256 of its key
    std::string user{};
    std::string stamp{};  ///< the user's when it began
    int64_t created = 0;
    int64_t used = 0;
};

}  // namespace vms::host
