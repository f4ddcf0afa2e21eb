#pragma once

#include <stdexcept>

namespace vms {

/// Why media could not be read or written, worded for people.
class MediaError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace vms
