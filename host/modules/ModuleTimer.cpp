#include "host/modules/ModuleTimer.h"

namespace vms::host {

ModuleTimer::ModuleTimer(ModuleSet& modules, std::chrono::milliseconds period)
    : modules_(modules), period_(period), thread_([this] { Run(); }) {}

ModuleTimer::~ModuleTimer() {
    {
        MutexLock lock(mutex_);
        stop_ = true;
        stopped_.NotifyAll();
    }
    thread_.join();
}

void ModuleTimer::Run() {
    while (WaitForTurn(std::chrono::steady_clock::now() + period_))
        modules_.OnTimer();
}

bool ModuleTimer::WaitForTurn(std::chrono::steady_clock::time_point turn) {
    MutexLock lock(mutex_);
    while (!stop_ && stopped_.WaitUntil(mutex_, turn)) {
    }
    return !stop_;
}

}  // namespace vms::host
