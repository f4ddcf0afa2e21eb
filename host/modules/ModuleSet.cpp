#include "host/modules/ModuleSet.h"

#include <thread>
#include <utility>

#include "host/text/HostError.h"
#include "host/text/JsonText.h"
#include "module/IStreamModule.h"
#include "platform/Mutex.h"

namespace vms::host {
namespace {

/// Counts down to zero; shared by the waiting thread and those that end modules.
class Latch {
public:
    explicit Latch(size_t count) : count_(count) {}

    void Done() VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        --count_;
        reached_.NotifyAll();
    }

    bool Wait(std::chrono::steady_clock::time_point deadline) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        while (count_ > 0) {
            if (!reached_.WaitUntil(mutex_, deadline))
                break;
        }
        return count_ == 0;
    }

private:
    Mutex mutex_;
    CondVar reached_;
    size_t count_ VMS_GUARDED_BY(mutex_);
};

std::string WithLastLine(std::string message, const LogSink& log) {
    const std::string line = log.LastLine();
    return line.empty() ? message : message + "; its last log line: " + line;
}

}  // namespace

void ModuleSet::Start(const ModuleConfig& config) {
    auto library = std::make_unique<ModuleLibrary>(config.library, bus_.Bus());
    CheckUnused(*library, config.name);
    if (streams_ != nullptr && library->StreamModule() != nullptr)
        library->StreamModule()->SetConnectionControl(streams_);
    if (!library->Init(config.name, config.config, log_))
        throw HostError(WithLastLine(
            "module \"" + config.name + "\" (" + library->Path() + ") refused to start", log_));
    modules_.push_back(std::move(library));
    Enqueue(config);
}

void ModuleSet::CheckUnused(const ModuleLibrary& library, const std::string& name) const {
    for (const auto& other : modules_) {
        if (other->Module() == library.Module())
            throw HostError("modules \"" + other->Name() + "\" and \"" + name +
                            "\" name one library, " + library.Path() + ", which holds one module");
    }
}

void ModuleSet::Enqueue(const ModuleConfig& config) {
    if (config.devices.empty())
        return;
    const Answer answer = bus_.Ask({.module = config.name,
                                    .id = TV_CMD_DEVICES_ENQUEUE,
                                    .deviceId = "",
                                    .body = CompactJson(config.devices)});
    if (!answer.Succeeded())
        throw HostError(
            WithLastLine("module \"" + config.name + "\" did not take its devices", log_));
}

std::vector<IStreamModule*> ModuleSet::StreamModules() const {
    std::vector<IStreamModule*> streams;
    for (const auto& module : modules_) {
        if (module->StreamModule() != nullptr)
            streams.push_back(module->StreamModule());
    }
    return streams;
}

void ModuleSet::OnTimer() {
    for (const auto& module : modules_)
        module->OnTimer();
}

bool ModuleSet::StopWithin(std::chrono::milliseconds bound) {
    const auto deadline = std::chrono::steady_clock::now() + bound;
    const auto latch = std::make_shared<Latch>(modules_.size());
    for (auto& module : std::exchange(modules_, {})) {
        std::thread([latch, ending = std::move(module)]() mutable {
            ending.reset();
            latch->Done();
        }).detach();
    }
    return latch->Wait(deadline);
}

}  // namespace vms::host
