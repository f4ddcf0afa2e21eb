#include "tests/support/BusProbe.h"

#include <future>

#include "platform/CommandPtr.h"
#include "platform/CreateCommandBusInstance.h"

namespace vms::test {

Outcome Ask(const std::string& module, __enumTvCommand id, const std::string& deviceId,
            const std::string& body) {
    Outcome outcome;
    std::promise<void> ended;
    const vms::CommandPtr request(SysCommandHelper::CreateRequestCommand(
        id, "test", deviceId.c_str(), body.c_str(), module.c_str()));
    ICommandBus* bus = CreateCommandBusInstance();
    const int64_t serial = bus->Post(
        module.c_str(), *request,
        [&](const __tagTvCommand& answer) { outcome.answers.push_back(answer); },
        [&](bool threw) {
            outcome.handled = true;
            outcome.threw = threw;
            ended.set_value();
        });
    if (serial > 0)
        ended.get_future().wait_for(std::chrono::seconds(60));
    bus->Cancel(serial);
    return outcome;
}

NotificationProbe::NotificationProbe(__enumTvCommand id)
    : token_(CreateCommandBusInstance()->Subscribe(id, [this](const __tagTvCommand& record) {
          vms::MutexLock lock(mutex_);
          records_.push_back(record);
          arrived_.NotifyAll();
      })) {}

NotificationProbe::~NotificationProbe() {
    CreateCommandBusInstance()->Unsubscribe(token_);
}

bool NotificationProbe::Next(__tagTvCommand& record, std::chrono::seconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    vms::MutexLock lock(mutex_);
    while (records_.empty()) {
        if (!arrived_.WaitUntil(mutex_, deadline) && records_.empty())
            return false;
    }
    record = records_.front();
    records_.erase(records_.begin());
    return true;
}

}  // namespace vms::test
