#include "tests/host/HostRun.h"

#include <sstream>

namespace vms::host::test {
namespace {

std::vector<std::string> Command(const std::string& errorFile,
                                 const std::vector<std::string>& arguments,
                                 const std::vector<std::string>& environment) {
    std::vector<std::string> command{"env", "-u", "VMS_PASSWORD"};
    command.insert(command.end(), environment.begin(), environment.end());
    for (const char* word : {"/bin/sh", "-c", "exec \"$@\" 2>\"$0\""})
        command.emplace_back(word);
    command.push_back(errorFile);
    command.emplace_back(VMSHOST);
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

}  // namespace

HostRun::HostRun(const std::vector<std::string>& arguments,
                 const std::vector<std::string>& environment)
    : process_(std::make_unique<ChildProcess>(Command(errorFile_.Path(), arguments, environment))) {
}

int HostRun::Finish(std::chrono::seconds timeout) {
    std::string line;
    while (process_->ReadLine(line, timeout))
        lines.push_back(line);
    const int status = process_->WaitExit(timeout);
    errors = ErrorsSoFar();
    return status;
}

std::string HostRun::ErrorsSoFar() const {
    std::ostringstream text;
    text << std::ifstream(errorFile_.Path()).rdbuf();
    return text.str();
}

}  // namespace vms::host::test
