#pragma once

#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"

namespace vms::test {

/// What the simulator says of one of its cameras.
struct SimulatedCamera {
    std::string name;
    std::string address;
    int port = 0;
    std::string user;
    std::string password;
    std::string personality;
    std::vector<std::string> streams;  ///< stream URIs of the first profiles
};

/// `devsim onvif` with ephemeral ports, ready to be spoken to.
class Devsim {
public:
    /// @param options further command line options. @throws std::runtime_error if it does not start
    explicit Devsim(const std::vector<std::string>& options);

    const SimulatedCamera& Camera(size_t index) const { return cameras_.at(index); }
    size_t Count() const { return cameras_.size(); }
    pid_t Pid() const { return process_.Pid(); }

private:
    ChildProcess process_;
    std::vector<SimulatedCamera> cameras_;
};

}  // namespace vms::test
