#include "host/DeviceLists.h"

#include <utility>

#include "host/DeviceChanges.h"
#include "host/HostError.h"
#include "host/JsonText.h"

namespace vms {
namespace {

constexpr char kTag[] = "Reload";

bool SameButDevices(const ModuleConfig& one, const ModuleConfig& other) {
    return one.library == other.library && one.config == other.config;
}

}  // namespace

DeviceLists::DeviceLists(std::string file, std::string defaultLibrary, HostConfig current,
                         BusClient& bus, LogSink& log)
    : file_(std::move(file)),
      defaultLibrary_(std::move(defaultLibrary)),
      bus_(bus),
      log_(log),
      current_(std::move(current)),
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

void DeviceLists::ReloadNow() {
    const HostConfig wanted = ReadHostConfig(file_, defaultLibrary_);
    const HostConfig current = Current();
    for (const std::string& warning : wanted.warnings)
        log_.Log(2, kTag, "%s", warning.c_str());
    if (wanted.modules.size() != current.modules.size())
        log_.Log(2, kTag, "modules are started and ended only with the host");
    for (const ModuleConfig& module : current.modules) {
        const ModuleConfig* found = wanted.FindModule(module.name);
        if (found == nullptr)
            continue;
        if (!SameButDevices(module, *found))
            log_.Log(2, kTag, "the settings of module \"%s\" change only with a restart",
                     module.name.c_str());
        if (Update(module, *found))
            Keep(*found);
    }
}

bool DeviceLists::Update(const ModuleConfig& before, const ModuleConfig& after) {
    const DeviceChanges changes = CompareDevices(before.devices, after.devices);
    for (const Json::Value& device : changes.added)
        log_.Mask(device["password"].asString());
    const bool done = Tell(after.name, TV_CMD_DEVICES_DEQUEUE, changes.gone) &&
                      Tell(after.name, TV_CMD_DEVICES_ENQUEUE, changes.added);
    log_.Log(done ? 1 : 3, kTag, "module \"%s\": %u devices off, %u on%s", after.name.c_str(),
             changes.gone.size(), changes.added.size(), done ? "" : ", which it did not take");
    return done;
}

bool DeviceLists::Tell(const std::string& module, __enumTvCommand command,
                       const Json::Value& devices) {
    if (devices.empty())
        return true;
    return bus_.Ask({.module = module, .id = command, .deviceId = "", .body = CompactJson(devices)})
        .Succeeded();
}

void DeviceLists::Keep(const ModuleConfig& module) {
    MutexLock lock(mutex_);
    for (ModuleConfig& kept : current_.modules) {
        if (kept.name == module.name)
            kept.devices = module.devices;
    }
}

}  // namespace vms
