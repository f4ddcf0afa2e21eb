#pragma once

#include <stdexcept>

namespace vms::host {

/// Why a command could not be carried out, worded for the person who gave it. Carries no passwords.
class HostError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace vms::host
