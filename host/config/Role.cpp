#include "host/config/Role.h"

#include <array>

namespace vms::host {
namespace {

constexpr std::array<std::string_view, 4> kNames{"none", "viewer", "operator", "admin"};

}  // namespace

std::optional<Role> ReadRole(std::string_view name) {
    for (size_t i = 1; i < kNames.size(); ++i) {
        if (kNames[i] == name)
            return static_cast<Role>(i);
    }
    return std::nullopt;
}

std::string RoleName(Role role) {
    return std::string(kNames.at(static_cast<size_t>(role)));
}

}  // namespace vms::host
