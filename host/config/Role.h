#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vms::host {

/// What somebody may do; each may also do what those before it may.
enum class Role {
    kNone,      ///< what is open to everybody
    kViewer,    ///< watch, search, download
    kOperator,  ///< also turn cameras, talk, presets
    kAdmin,     ///< also devices, users, recording, raw commands
};

/// "viewer", "operator", "admin"; "none" is nobody's role.
std::optional<Role> ReadRole(std::string_view name);
std::string RoleName(Role role);

}  // namespace vms::host
