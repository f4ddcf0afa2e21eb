#pragma once

#include <cstddef>
#include <cstring>

namespace vms {

/// A number within bytes, in the byte order of the host, wherever it lies. Re-entrant.
/// @param bytes at least `offset` + sizeof(T) of them
template <class T>
T FieldAt(const char* bytes, size_t offset) {
    T value;
    std::memcpy(&value, bytes + offset, sizeof value);
    return value;
}

template <class T>
void SetField(char* bytes, size_t offset, T value) {
    std::memcpy(bytes + offset, &value, sizeof value);
}

/// The same in little-endian order, whatever the host's.
template <class T>
T LittleFieldAt(const char* bytes, size_t offset) {
    T value = 0;
    for (size_t i = 0; i < sizeof(T); ++i)
        value = static_cast<T>(value | T{static_cast<unsigned char>(bytes[offset + i])} << (8 * i));
    return value;
}

template <class T>
void SetLittleField(char* bytes, size_t offset, T value) {
    for (size_t i = 0; i < sizeof(T); ++i)
        bytes[offset + i] = static_cast<char>(value >> (8 * i));
}

/// The same in network order.
template <class T>
T BigFieldAt(const char* bytes, size_t offset) {
    T value = 0;
    for (size_t i = 0; i < sizeof(T); ++i)
        value = static_cast<T>(value << 8 | static_cast<unsigned char>(bytes[offset + i]));
    return value;
}

template <class T>
void SetBigField(char* bytes, size_t offset, T value) {
    for (size_t i = 0; i < sizeof(T); ++i)
        bytes[offset + i] = static_cast<char>(value >> (8 * (sizeof(T) - 1 - i)));
}

}  // namespace vms
