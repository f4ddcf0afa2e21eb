#include "tests/platform/websocket/EventRecorder.h"

#include <thread>

namespace vms::test {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds kPatience{20};

}  // namespace

void EventRecorder::OnConnect(long long, const char* text, int len) {
    Add({Event::kConnect, std::string(text, static_cast<size_t>(len))});
}

void EventRecorder::OnClose(long long, int code, const char* msg) {
    Add({Event::kClose, msg, code});
}

void EventRecorder::OnRecv(long long, const char* data, int len) {
    Add({Event::kMessage, std::string(data, static_cast<size_t>(len))});
}

void EventRecorder::Add(Event event) {
    {
        MutexLock lock(mutex_);
        events_.push_back(event);
    }
    added_.NotifyAll();
    if (hook)
        hook(event);
}

bool EventRecorder::WaitForEvents(size_t count) {
    const auto deadline = Clock::now() + kPatience;
    MutexLock lock(mutex_);
    while (events_.size() < count) {
        if (!added_.WaitUntil(mutex_, deadline))
            return false;
    }
    return true;
}

bool EventRecorder::WaitForClose() {
    const auto deadline = Clock::now() + kPatience;
    MutexLock lock(mutex_);
    while (events_.empty() || events_.back().kind != Event::kClose) {
        if (!added_.WaitUntil(mutex_, deadline))
            return false;
    }
    return true;
}

std::vector<Event> EventRecorder::Events() {
    MutexLock lock(mutex_);
    return events_;
}

std::vector<std::string> EventRecorder::Messages() {
    std::vector<std::string> messages;
    for (const Event& event : Events()) {
        if (event.kind == Event::kMessage)
            messages.push_back(event.text);
    }
    return messages;
}

Event EventRecorder::Last() {
    const std::vector<Event> events = Events();
    return events.empty() ? Event{Event::kMessage, ""} : events.back();
}

ClientPtr MakeClient(INetEventHandle* handler) {
    ClientPtr client(CreateWebSocketClient());
    client->SetEventHandle(handler);
    return client;
}

bool Eventually(const std::function<bool()>& condition) {
    const auto deadline = Clock::now() + kPatience;
    while (!condition()) {
        if (Clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

}  // namespace vms::test
