#include "tests/support/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <thread>

extern char** environ;

namespace vms::test {
namespace {

using Clock = std::chrono::steady_clock;

bool WaitReadable(int fd, Clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0)
        return false;
    pollfd entry{fd, POLLIN, 0};
    return poll(&entry, 1, static_cast<int>(left.count())) > 0;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& command) {
    int pipeEnds[2];
    if (pipe2(pipeEnds, O_CLOEXEC) != 0)
        throw std::runtime_error("pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
    // A test that crashes takes its children with it: whoever reads its output waits for them.
    std::string wrapper[] = {"setpriv", "--pdeathsig", "KILL"};
    std::vector<char*> arguments;
    for (std::string& word : wrapper)
        arguments.push_back(word.data());
    for (const std::string& word : command)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    const int error =
        posix_spawnp(&pid_, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(pipeEnds[1]);
    output_ = pipeEnds[0];
    if (error != 0) {
        close(output_);
        throw std::runtime_error("cannot start " + command[0]);
    }
}

ChildProcess::~ChildProcess() {
    if (pid_ > 0) {
        Signal(SIGTERM);
        if (WaitExit(std::chrono::seconds(5)) == -1) {
            Signal(SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }
    close(output_);
}

bool ChildProcess::ReadLine(std::string& line, std::chrono::seconds timeout) {
    const auto deadline = Clock::now() + timeout;
    for (;;) {
        if (const size_t end = pending_.find('\n'); end != std::string::npos) {
            line = pending_.substr(0, end);
            pending_.erase(0, end + 1);
            return true;
        }
        char buffer[4096];
        if (!WaitReadable(output_, deadline))
            return false;
        const ssize_t count = read(output_, buffer, sizeof buffer);
        if (count <= 0)
            return false;
        pending_.append(buffer, static_cast<size_t>(count));
    }
}

int ChildProcess::WaitExit(std::chrono::seconds timeout) {
    const auto deadline = Clock::now() + timeout;
    int status = 0;
    while (waitpid(pid_, &status, WNOHANG) == 0) {
        if (Clock::now() > deadline)
            return -1;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void ChildProcess::Signal(int number) const {
    if (pid_ > 0)
        kill(pid_, number);
}

int Run(const std::vector<std::string>& command) {
    ChildProcess process(command);
    return process.WaitExit(std::chrono::seconds(30));
}

}  // namespace vms::test
