#include "host/cli/Progress.h"

#include <unistd.h>

#include <cstdio>

namespace vms::host {
namespace {

constexpr auto kStep = std::chrono::milliseconds(500);

}  // namespace

Progress::Progress(std::string text, bool wanted) : text_(std::move(text)) {
    if (wanted && isatty(STDERR_FILENO) == 1)
        thread_ = std::thread([this] { Run(); });
}

Progress::~Progress() {
    if (!thread_.joinable())
        return;
    {
        MutexLock lock(mutex_);
        stop_ = true;
        stopped_.NotifyAll();
    }
    thread_.join();
}

void Progress::Print(const std::function<void()>& print) {
    MutexLock lock(mutex_);
    Erase();
    print();
}

void Progress::Run() {
    MutexLock lock(mutex_);
    Clock::time_point next = start_ + kStep;
    while (!stop_) {
        if (stopped_.WaitUntil(mutex_, next))
            continue;
        Draw();
        next += kStep;
    }
    Erase();
}

void Progress::Draw() {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start_);
    std::fprintf(stderr, "\r%s ... %lld s\033[K", text_.c_str(),
                 static_cast<long long>(seconds.count()));
    drawn_ = true;
}

void Progress::Erase() {
    if (drawn_)
        std::fputs("\r\033[K", stderr);
    drawn_ = false;
}

}  // namespace vms::host
