#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace vms::test {

/// A program started for a test; its standard output can be read line by line. Ended (SIGTERM,
/// after five seconds SIGKILL) with the object.
class ChildProcess {
public:
    /// @throws std::runtime_error when it cannot be started
    explicit ChildProcess(const std::vector<std::string>& command);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t Pid() const { return pid_; }

    /// @return false at the end of the output or when no whole line came in time
    [[nodiscard]] bool ReadLine(std::string& line, std::chrono::seconds timeout);

    /// Exit status, or 128 + signal; -1 when it still runs after the time-out.
    [[nodiscard]] int WaitExit(std::chrono::seconds timeout);

    void Signal(int number) const;

private:
    pid_t pid_ = -1;
    int output_ = -1;
    std::string pending_;
};

/// Runs a program to its end. @return exit status
int Run(const std::vector<std::string>& command);

}  // namespace vms::test
