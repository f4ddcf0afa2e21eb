#include "tests/videodevice/Script.h"

#include <stdexcept>
#include <utility>

namespace vms::test {

void Script::Result(const std::string& operation, int result) {
    MutexLock lock(mutex_);
    results_[operation] = result;
}

void Script::Throw(const std::string& operation) {
    MutexLock lock(mutex_);
    throwing_.insert(operation);
}

void Script::Null(const std::string& operation) {
    MutexLock lock(mutex_);
    null_.insert(operation);
}

void Script::Hook(const std::string& operation, std::function<void()> hook) {
    MutexLock lock(mutex_);
    hooks_[operation] = std::move(hook);
}

void Script::Clear() {
    MutexLock lock(mutex_);
    results_.clear();
    throwing_.clear();
    null_.clear();
    hooks_.clear();
    calls_.clear();
}

int Script::Call(const std::string& operation, const std::string& details) {
    MutexLock lock(mutex_);
    ++counts_[operation];
    if (remember)
        calls_.push_back(details.empty() ? operation : operation + " " + details);
    const auto found = results_.find(operation);
    const int result = found != results_.end() ? found->second : 0;
    const bool throws = throwing_.count(operation) != 0;
    const auto hook = hooks_.find(operation);
    const std::function<void()> run = hook != hooks_.end() ? hook->second : nullptr;
    lock.Unlock();
    if (run)
        run();
    if (throws)
        throw std::runtime_error(operation + " was told to throw");
    return result;
}

bool Script::MakesNull(const std::string& operation) {
    MutexLock lock(mutex_);
    return null_.count(operation) != 0;
}

std::vector<std::string> Script::Take() {
    MutexLock lock(mutex_);
    return std::exchange(calls_, {});
}

int Script::Count(const std::string& operation) {
    MutexLock lock(mutex_);
    const auto found = counts_.find(operation);
    return found != counts_.end() ? found->second : 0;
}

}  // namespace vms::test
