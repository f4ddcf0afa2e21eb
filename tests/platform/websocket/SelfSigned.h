#pragma once

#include <string>

namespace vms::test {

/// A certificate of its own for 127.0.0.1 and localhost, and its key, as PEM files in a folder that
/// goes with the object.
class SelfSigned {
public:
    SelfSigned();
    ~SelfSigned();
    SelfSigned(const SelfSigned&) = delete;
    SelfSigned& operator=(const SelfSigned&) = delete;

    std::string Certificate() const { return folder_ + "/cert.pem"; }
    std::string Key() const { return folder_ + "/key.pem"; }

private:
    std::string folder_;
};

}  // namespace vms::test
