#pragma once

#include <optional>
#include <string>

namespace vms::host {

/// Where a password may be given on the command line.
struct PasswordSource {
    std::optional<std::string> text;  ///< --password
    std::optional<std::string> file;  ///< --password-file: its first line
};

/// The password of a command: the option, else the first line of the file, else the environment
/// variable VMS_PASSWORD, else empty.
/// @throws HostError when the file cannot be read, or what was given is not UTF-8; the text never
/// quotes it
std::string ResolvePassword(const PasswordSource& source);

}  // namespace vms::host
