#pragma once

#include <array>

#include "host/state/Migrations.h"

namespace vms::host::test {

inline constexpr std::array kNumberTable{
    Migration{1, "CREATE TABLE numbers (number INTEGER PRIMARY KEY) STRICT"}};

}  // namespace vms::host::test
