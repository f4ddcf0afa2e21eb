#include "host/modules/AddedDevices.h"

#include <utility>

#include "host/text/HostError.h"
#include "host/text/JsonText.h"
#include "platform/Json.h"

namespace vms::host {

std::vector<AddedDevices::Device> AddedDevices::All() {
    std::vector<Device> devices;
    database_.ReadNow([&](SqlConnection& sql) {
        devices.clear();
        SqlStatement rows = sql.Prepare("SELECT module, description FROM devices ORDER BY id");
        while (rows.Step()) {
            Device device{rows.Text(0), {}};
            if (!ParseJson(rows.Text(1).c_str(), device.description) ||
                !Member(device.description, "id").isString())
                throw HostError("the state holds a device that makes no sense");
            devices.push_back(std::move(device));
        }
    });
    return devices;
}

void AddedDevices::Keep(const Device& device, Done done) {
    database_.Post(
        [id = device.description["id"].asString(), module = device.module,
         text = CompactJson(device.description)](SqlConnection& sql) {
            sql.Run("INSERT OR REPLACE INTO devices (id, module, description) VALUES (?, ?, ?)", id,
                    module, text);
        },
        std::move(done));
}

void AddedDevices::Forget(const std::string& id, Done done) {
    database_.Post([id](SqlConnection& sql) { sql.Run("DELETE FROM devices WHERE id = ?", id); },
                   std::move(done));
}

std::set<std::string> PutIn(const std::vector<AddedDevices::Device>& added, HostConfig& config,
                            LogSink& log) {
    std::set<std::string> identifiers;
    for (const AddedDevices::Device& device : added) {
        const std::string id = device.description["id"].asString();
        if (config.FindModule(device.module) != nullptr)
            identifiers.insert(id);
        else
            log.Log(2, "Devices", "device \"%s\" is left out: there is no module \"%s\"",
                    id.c_str(), device.module.c_str());
    }
    LeaveOut(identifiers, config, log);
    for (const AddedDevices::Device& device : added) {
        for (ModuleConfig& module : config.modules) {
            if (module.name == device.module)
                module.devices.append(device.description);
        }
    }
    return identifiers;
}

void LeaveOut(const std::set<std::string>& added, HostConfig& config, LogSink& log) {
    for (ModuleConfig& module : config.modules) {
        Json::Value devices(Json::arrayValue);
        for (const Json::Value& device : module.devices) {
            const std::string id = device["id"].asString();
            if (added.count(id) == 0)
                devices.append(device);
            else
                log.Log(2, "Devices",
                        "device \"%s\" of the configuration is left out: one has been added under "
                        "that identifier",
                        id.c_str());
        }
        module.devices = std::move(devices);
    }
}

}  // namespace vms::host
