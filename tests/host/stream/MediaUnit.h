#pragma once

#include <cstring>
#include <string>

namespace vms::test {

enum class UnitType : uint32_t { key = 1 << 2, picture = 2 << 2, sound = 1 };

/// A media unit: 32 bytes of header with its number at offset 8, then filling.
inline std::string MediaUnit(UnitType type, int number, size_t size) {
    std::string unit(size, static_cast<char>('a' + number % 26));
    std::memset(unit.data(), 0, 32);
    std::memcpy(unit.data() + 4, &type, 4);
    std::memcpy(unit.data() + 8, &number, 4);
    return unit;
}

inline int UnitNumber(const std::string& unit) {
    int number = -1;
    if (unit.size() >= 32)
        std::memcpy(&number, unit.data() + 8, 4);
    return number;
}

}  // namespace vms::test
