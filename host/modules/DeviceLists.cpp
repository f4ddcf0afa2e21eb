#include "host/modules/DeviceLists.h"

#include <utility>

#include "host/config/ConfigChanges.h"
#include "host/modules/DeviceEdit.h"
#include "host/text/HostError.h"
#include "host/text/JsonText.h"

namespace vms::host {
namespace {

constexpr char kTag[] = "Reload";

bool SameButDevices(const ModuleConfig& one, const ModuleConfig& other) {
    return one.library == other.library && one.config == other.config;
}

HostConfig WithoutDevices(HostConfig config) {
    for (ModuleConfig& module : config.modules)
        module.devices = Json::Value(Json::arrayValue);
    return config;
}

}  // namespace

DeviceLists::DeviceLists(std::string file, std::string defaultLibrary, const HostConfig& current,
                         BusClient& bus, LogSink& log, AddedDevices* store,
                         const std::set<std::string>& added, const DeviceLimits& limits)
    : file_(std::move(file)),
      defaultLibrary_(std::move(defaultLibrary)),
      settings_(WithoutDevices(current)),
      limits_(limits),
      bus_(bus),
      log_(log),
      store_(store),
      inbox_(std::make_shared<EditInbox>(*this)) {
    for (const ModuleConfig& module : current.modules) {
        for (const Json::Value& device : module.devices) {
            const std::string id = device["id"].asString();
            Put({module.name, device, added.count(id) != 0});
        }
    }
    thread_ = std::thread([this] { Run(); });
}

DeviceLists::~DeviceLists() {
    inbox_->Close();
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
    HostConfig current = settings_;
    const std::vector<KnownDevice> devices = All();
    for (ModuleConfig& module : current.modules) {
        for (const KnownDevice& device : devices) {
            if (device.module == module.name)
                module.devices.append(device.description);
        }
    }
    return current;
}

std::string DeviceLists::ModuleOf(const std::string& device) const {
    MutexLock lock(mutex_);
    const auto found = devices_.find(device);
    return found == devices_.end() ? std::string() : found->second.module;
}

std::optional<KnownDevice> DeviceLists::Find(const std::string& id) const {
    MutexLock lock(mutex_);
    const auto device = devices_.find(id);
    return device == devices_.end() ? std::nullopt : std::optional(device->second);
}

std::vector<KnownDevice> DeviceLists::All() const {
    std::vector<KnownDevice> all;
    MutexLock lock(mutex_);
    all.reserve(devices_.size());
    for (const auto& [id, device] : devices_)
        all.push_back(device);
    return all;
}

void DeviceLists::Add(const std::string& module, Json::Value description, ChangeDone done) {
    if (settings_.FindModule(module) == nullptr) {
        done({ChangeOutcome::Kind::kInvalid, "there is no module \"" + module + "\""});
        return;
    }
    std::string id = description["id"].asString();
    const auto make = [added = std::move(description)](Json::Value& device) -> ChangeOutcome {
        if (!device.isNull())
            return {ChangeOutcome::Kind::kTaken, "the identifier is taken by another device"};
        device = added;
        return {};
    };
    Submit(std::make_shared<DeviceEdit>(std::move(id), module, make, std::move(done)));
}

void DeviceLists::Change(const std::string& id, std::function<std::string(Json::Value&)> edit,
                         ChangeDone done) {
    const auto make = [edit = std::move(edit)](Json::Value& device) -> ChangeOutcome {
        if (device.isNull())
            return {ChangeOutcome::Kind::kUnknown, "there is no such device"};
        const std::string problem = edit(device);
        return problem.empty() ? ChangeOutcome{}
                               : ChangeOutcome{ChangeOutcome::Kind::kInvalid, problem};
    };
    Submit(std::make_shared<DeviceEdit>(id, ModuleOf(id), make, std::move(done)));
}

void DeviceLists::Remove(const std::string& id, ChangeDone done) {
    const auto make = [](Json::Value& device) -> ChangeOutcome {
        if (device.isNull())
            return {ChangeOutcome::Kind::kUnknown, "there is no such device"};
        device = Json::Value();
        return {};
    };
    Submit(std::make_shared<DeviceEdit>(id, ModuleOf(id), make, std::move(done)));
}

void DeviceLists::Submit(const std::shared_ptr<DeviceEdit>& edit) {
    {
        MutexLock lock(mutex_);
        if (waiting_.size() + busy_.size() < limits_.changes) {
            waiting_.push_back(edit);
            changed_.NotifyAll();
            return;
        }
    }
    edit->End({ChangeOutcome::Kind::kFull, "too many changes of devices are waiting"});
}

void DeviceLists::Deliver(Work answer) {
    MutexLock lock(mutex_);
    answers_.push_back(std::move(answer));
    changed_.NotifyAll();
}

void DeviceLists::Run() {
    while (const Work work = NextWork()) {
        try {
            work();
        } catch (const std::exception& error) {
            log_.Log(3, kTag, "device lists stay as they are: %s", error.what());
        }
    }
}

/// @return empty = the end
DeviceLists::Work DeviceLists::NextWork() {
    MutexLock lock(mutex_);
    for (;;) {
        if (stop_)
            return {};
        if (Work work = FindWork())
            return work;
        changed_.Wait(mutex_);
    }
}

/// A reload concerns all modules: it waits until no change is under way, and none begins meanwhile.
DeviceLists::Work DeviceLists::FindWork() {
    if (!answers_.empty()) {
        Work answer = std::move(answers_.front());
        answers_.pop_front();
        return answer;
    }
    if (requested_) {
        if (!busy_.empty())
            return {};
        requested_ = false;
        return [this] { ReloadNow(); };
    }
    for (auto next = waiting_.begin(); next != waiting_.end(); ++next) {
        const std::shared_ptr<DeviceEdit> edit = *next;
        if (!busy_.insert(edit->Module()).second)
            continue;
        waiting_.erase(next);
        return [this, edit] { edit->Begin(*this); };
    }
    return {};
}

void DeviceLists::Ended(const DeviceEdit& edit) {
    MutexLock lock(mutex_);
    busy_.erase(edit.Module());
}

void DeviceLists::Put(const KnownDevice& device) {
    MutexLock lock(mutex_);
    KnownDevice& place = devices_[device.description["id"].asString()];
    addedCount_ -= place.isAdded ? 1 : 0;
    place = device;
    addedCount_ += place.isAdded ? 1 : 0;
}

void DeviceLists::Erase(const std::string& id) {
    MutexLock lock(mutex_);
    const auto device = devices_.find(id);
    if (device == devices_.end())
        return;
    addedCount_ -= device->second.isAdded ? 1 : 0;
    devices_.erase(device);
}

size_t DeviceLists::CountAdded() const {
    MutexLock lock(mutex_);
    return addedCount_;
}

// All modules let go before any takes in: a device may have moved from one to another.
void DeviceLists::ReloadNow() {
    HostConfig wanted = ReadHostConfig(file_, defaultLibrary_);
    Warn(wanted);
    LeaveOut(AddedIds(), wanted, log_);
    for (const ModuleConfig& module : wanted.modules)
        TakeOff(module);
    for (const ModuleConfig& module : wanted.modules)
        TakeIn(module);
}

std::set<std::string> DeviceLists::AddedIds() const {
    std::set<std::string> added;
    MutexLock lock(mutex_);
    for (const auto& [id, device] : devices_) {
        if (device.isAdded)
            added.insert(id);
    }
    return added;
}

void DeviceLists::Warn(const HostConfig& wanted) {
    bool sameModules = wanted.modules.size() == settings_.modules.size();
    for (const ModuleConfig& module : settings_.modules) {
        const ModuleConfig* found = wanted.FindModule(module.name);
        sameModules = sameModules && found != nullptr;
        if (found != nullptr && !SameButDevices(module, *found))
            log_.Log(2, kTag, "the settings of module \"%s\" change only with a restart",
                     module.name.c_str());
    }
    if (!sameModules)
        log_.Log(2, kTag, "modules are started and ended only with the host");
    for (const std::string& member : ChangedMembers(settings_.settings, wanted.settings))
        log_.Log(2, kTag, "\"%s\" has changed, which counts only after a restart", member.c_str());
}

void DeviceLists::TakeOff(const ModuleConfig& wanted) {
    const DeviceChanges changes = Changes(wanted);
    if (changes.gone.empty())
        return;
    const bool done = Tell(wanted.name, TV_CMD_DEVICES_DEQUEUE, changes.gone);
    if (done) {
        for (const Json::Value& device : changes.gone)
            Erase(device["id"].asString());
    }
    log_.Log(done ? 1 : 3, kTag, "module \"%s\": %u devices off%s", wanted.name.c_str(),
             changes.gone.size(), done ? "" : ", which it did not confirm");
}

void DeviceLists::TakeIn(const ModuleConfig& wanted) {
    const DeviceChanges changes = Changes(wanted);
    if (changes.added.empty() || !changes.gone.empty())
        return;
    const bool done = Tell(wanted.name, TV_CMD_DEVICES_ENQUEUE, changes.added);
    if (done) {
        for (const Json::Value& device : changes.added)
            Put({wanted.name, device, false});
    }
    log_.Log(done ? 1 : 3, kTag, "module \"%s\": %u devices on%s", wanted.name.c_str(),
             changes.added.size(), done ? "" : ", which it did not confirm");
}

/// Among the devices that the file is about. None for a module that does not run.
DeviceChanges DeviceLists::Changes(const ModuleConfig& wanted) const {
    if (settings_.FindModule(wanted.name) == nullptr)
        return {};
    Json::Value before(Json::arrayValue);
    {
        MutexLock lock(mutex_);
        for (const auto& [id, device] : devices_) {
            if (device.module == wanted.name && !device.isAdded)
                before.append(device.description);
        }
    }
    return CompareDevices(before, wanted.devices);
}

bool DeviceLists::Tell(const std::string& module, __enumTvCommand command,
                       const Json::Value& devices) {
    return bus_.Ask({.module = module, .id = command, .deviceId = "", .body = CompactJson(devices)})
        .Succeeded();
}

}  // namespace vms::host
