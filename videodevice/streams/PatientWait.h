#pragma once

#include <chrono>
#include <thread>

namespace vms {

/// Waits at a module's end for threads that are not the module's, and so cannot tell it anything.
/// @return false when the condition does not hold after `kLongest`
template <class Condition>
[[nodiscard]] bool PatientWait(Condition condition) {
    constexpr std::chrono::seconds kLongest{10};
    constexpr std::chrono::milliseconds kStep{1};
    const auto deadline = std::chrono::steady_clock::now() + kLongest;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(kStep);
    }
    return true;
}

}  // namespace vms
