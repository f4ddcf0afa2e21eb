#include "host/cli/StatusTable.h"

#include "host/text/TerminalText.h"
#include "platform/Json.h"

namespace vms::host {
namespace {

constexpr size_t kStateWidth = 9;
constexpr size_t kIdWidth = 20;

/// "online", "offline", or with several channels "2/4 up".
std::string State(const Json::Value& device) {
    int whole = 0;
    int channels = 0;
    int up = 0;
    for (const Json::Value& entry : Member(device, "status")) {
        int channel = 0;
        int state = 0;
        ReadInt(entry, "channel", channel);
        ReadInt(entry, "state", state);
        if (channel < 0)
            whole = state;
        else
            ++channels;
        if (channel >= 0 && state == 1)
            ++up;
    }
    if (whole == 1 && up < channels)
        return std::to_string(up) + "/" + std::to_string(channels) + " up";
    return whole == 1 ? "online" : "offline";
}

std::string Padded(std::string text, size_t width) {
    if (text.size() < width)
        text.resize(width, ' ');
    return text;
}

}  // namespace

StatusTable::StatusTable(const HostConfig& config) {
    for (const ModuleConfig& module : config.modules) {
        for (const Json::Value& device : module.devices)
            names_[device["id"].asString()] = device.get("name", "").asString();
    }
}

std::vector<std::string> StatusTable::Rows(const StatusReport& report, const std::string& time) {
    Json::Value content;
    ParseJson(report.body.c_str(), content);
    const Json::Value& devices = Member(content, "devs");
    if (!devices.isArray())
        return {};
    std::vector<std::string> rows;
    for (const Json::Value& device : devices)
        rows.push_back(time + " " + Row(report.module, device));
    if (rows.empty())
        rows.push_back(time + "   no devices in module " + Printable(report.module));
    return rows;
}

std::string StatusTable::Row(const std::string& module, const Json::Value& device) {
    std::string id;
    ReadString(device, "id", id);
    const std::string state = State(device);
    std::string& known = states_[{module, id}];
    const bool changed = !known.empty() && known != state;
    known = state;
    const auto name = names_.find(id);
    const std::string row = (changed ? "* " : "  ") + Padded(state, kStateWidth) +
                            Padded(Printable(id), kIdWidth) + " " +
                            (name != names_.end() ? Printable(name->second) : "");
    return row.substr(0, row.find_last_not_of(' ') + 1);
}

}  // namespace vms::host
