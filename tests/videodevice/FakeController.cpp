#include "tests/videodevice/FakeController.h"

#include <utility>

namespace vms::test {

int FakeController::SendData(long long connectionId, const char* data, int length,
                             bool isPlayback) {
    MutexLock lock(mutex_);
    if (remember)
        sent_.push_back(std::to_string(connectionId) + ":" +
                        std::string(data, static_cast<size_t>(length)) +
                        (isPlayback ? " (playback)" : ""));
    const auto found = answers_.find(connectionId);
    const int result = found != answers_.end() ? found->second : 0;
    const auto hook = onSend_;
    lock.Unlock();
    if (hook)
        hook(connectionId);
    return result;
}

int FakeController::SendCommand(long long connectionId, __tagTvCommand* command) {
    MutexLock lock(mutex_);
    commands_.push_back(*command);
    commands_.back().session = std::to_string(connectionId);
    return 0;
}

void FakeController::GetServerAddress(std::string& host, int& port) {
    host = "10.0.0.1";
    port = 8080;
}

int FakeController::QueryDataCount(long long connectionId) {
    return static_cast<int>(connectionId) * 10;
}

void FakeController::Answer(long long connectionId, int result) {
    MutexLock lock(mutex_);
    answers_[connectionId] = result;
}

void FakeController::OnSend(std::function<void(long long)> hook) {
    MutexLock lock(mutex_);
    onSend_ = std::move(hook);
}

std::vector<std::string> FakeController::Take() {
    MutexLock lock(mutex_);
    return std::exchange(sent_, {});
}

std::vector<__tagTvCommand> FakeController::TakeCommands() {
    MutexLock lock(mutex_);
    return std::exchange(commands_, {});
}

}  // namespace vms::test
