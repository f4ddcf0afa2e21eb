#pragma once

#include <array>
#include <string>

#include "tests/support/Devsim.h"

namespace vms::bench {

/// The three requests of a stream-URI query as plain texts over libcurl, each on a connection of
/// its own: what the exchange costs without a SOAP layer. The requests carry a fresh digest each
/// and are padded to the size that the library sends.
class RawSoapQuery {
public:
    explicit RawSoapQuery(const test::SimulatedCamera& camera);

    /// Performs the three exchanges. @return bytes received, 0 when one was refused
    size_t Run() const;

private:
    const test::SimulatedCamera& camera_;
    std::string deviceUrl_;
    std::string mediaUrl_;
    std::string token_;
};

}  // namespace vms::bench
