#include "host/modules/DeviceLists.h"

#include <utility>

#include "host/text/HostError.h"
#include "host/text/JsonText.h"

namespace vms::host {
namespace {

constexpr char kTag[] = "Reload";

bool SameButDevices(const ModuleConfig& one, const ModuleConfig& other) {
    return one.library == other.library && one.config == other.config;
}

std::map<std::string, std::string> ModulesOf(const HostConfig& config) {
    std::map<std::string, std::string> modules;
    for (const ModuleConfig& module : config.modules) {
        for (const Json::Value& device : module.devices)
            modules.emplace(device["id"].asString(), module.name);
    }
    return modules;
}

}  // namespace

DeviceLists::DeviceLists(std::string file, std::string defaultLibrary, HostConfig current,
                         BusClient& bus, LogSink& log)
    : file_(std::move(file)),
      defaultLibrary_(std::move(defaultLibrary)),
      bus_(bus),
      log_(log),
      current_(std::move(current)),
      moduleOf_(ModulesOf(current_)),
      thread_([this] { Run(); }) {}

DeviceLists::~DeviceLists() {
    {
        MutexLock lock(mutex_);
        stop_ = true;
        changed_.NotifyAll();
    }
    thread_.join();
}

void DeviceLists::Reload() {
    MutexLock lock(mutex_);
    requested_ = true;
    changed_.NotifyAll();
}

HostConfig DeviceLists::Current() const {
    MutexLock lock(mutex_);
    return current_;
}

std::string DeviceLists::ModuleOf(const std::string& device) const {
    MutexLock lock(mutex_);
    const auto found = moduleOf_.find(device);
    return found == moduleOf_.end() ? std::string() : found->second;
}

void DeviceLists::Run() {
    while (WaitForRequest()) {
        try {
            ReloadNow();
        } catch (const std::exception& error) {
            log_.Log(3, kTag, "device lists stay as they are: %s", error.what());
        }
    }
}

bool DeviceLists::WaitForRequest() {
    MutexLock lock(mutex_);
    while (!requested_ && !stop_)
        changed_.Wait(mutex_);
    requested_ = false;
    return !stop_;
}

// All modules let go before any takes in: a device may have moved from one to another.
void DeviceLists::ReloadNow() {
    const HostConfig wanted = ReadHostConfig(file_, defaultLibrary_);
    Warn(wanted);
    for (const ModuleConfig& module : wanted.modules)
        TakeOff(module);
    for (const ModuleConfig& module : wanted.modules)
        TakeIn(module);
}

void DeviceLists::Warn(const HostConfig& wanted) {
    const HostConfig current = Current();
    bool sameModules = wanted.modules.size() == current.modules.size();
    for (const ModuleConfig& module : current.modules) {
        const ModuleConfig* found = wanted.FindModule(module.name);
        sameModules = sameModules && found != nullptr;
        if (found != nullptr && !SameButDevices(module, *found))
            log_.Log(2, kTag, "the settings of module \"%s\" change only with a restart",
                     module.name.c_str());
    }
    if (!sameModules)
        log_.Log(2, kTag, "modules are started and ended only with the host");
}

void DeviceLists::TakeOff(const ModuleConfig& wanted) {
    const DeviceChanges changes = Changes(wanted);
    if (changes.gone.empty())
        return;
    const bool done = Tell(wanted.name, TV_CMD_DEVICES_DEQUEUE, changes.gone);
    if (done)
        Keep(wanted.name, changes.kept);
    log_.Log(done ? 1 : 3, kTag, "module \"%s\": %u devices off%s", wanted.name.c_str(),
             changes.gone.size(), done ? "" : ", which it did not confirm");
}

void DeviceLists::TakeIn(const ModuleConfig& wanted) {
    const DeviceChanges changes = Changes(wanted);
    if (changes.added.empty() || !changes.gone.empty())
        return;
    const bool done = Tell(wanted.name, TV_CMD_DEVICES_ENQUEUE, changes.added);
    if (done)
        Keep(wanted.name, wanted.devices);
    log_.Log(done ? 1 : 3, kTag, "module \"%s\": %u devices on%s", wanted.name.c_str(),
             changes.added.size(), done ? "" : ", which it did not confirm");
}

/// None for a module that does not run.
DeviceChanges DeviceLists::Changes(const ModuleConfig& wanted) const {
    MutexLock lock(mutex_);
    const ModuleConfig* module = current_.FindModule(wanted.name);
    return module == nullptr ? DeviceChanges{} : CompareDevices(module->devices, wanted.devices);
}

bool DeviceLists::Tell(const std::string& module, __enumTvCommand command,
                       const Json::Value& devices) {
    return bus_.Ask({.module = module, .id = command, .deviceId = "", .body = CompactJson(devices)})
        .Succeeded();
}

void DeviceLists::Keep(const std::string& module, const Json::Value& devices) {
    MutexLock lock(mutex_);
    for (ModuleConfig& kept : current_.modules) {
        if (kept.name == module)
            kept.devices = devices;
    }
    moduleOf_ = ModulesOf(current_);
}

}  // namespace vms::host
