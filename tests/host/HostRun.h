#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "tests/host/TemporaryFile.h"
#include "tests/support/ChildProcess.h"

namespace vms::host::test {

using namespace vms::test;

/// A running vmshost with its standard error in a file.
class HostRun {
public:
    /// @param arguments   command line after the program's name
    /// @param environment NAME=value pairs to add
    explicit HostRun(const std::vector<std::string>& arguments,
                     const std::vector<std::string>& environment = {});
    ChildProcess& Process() { return *process_; }

    /// Standard error up to now.
    std::string ErrorsSoFar() const;

    /// Waits for the end and collects the output. @return exit status, -1 when it did not end
    int Finish(std::chrono::seconds timeout = std::chrono::seconds(20));

    std::vector<std::string> lines;  ///< standard output, after Finish
    std::string errors;              ///< standard error, after Finish

private:
    TemporaryFile errorFile_;
    std::unique_ptr<ChildProcess> process_;
};

}  // namespace vms::host::test
