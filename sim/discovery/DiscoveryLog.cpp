#include "sim/discovery/DiscoveryLog.h"

#include <stdexcept>

#include <arpa/inet.h>

#include "sim/process/JsonLine.h"

namespace vms::sim {

DiscoveryLog::DiscoveryLog(const std::string& path) {
    if (path.empty())
        return;
    file_.open(path, std::ios::trunc);
    if (!file_)
        throw std::runtime_error("cannot write " + path);
}

void DiscoveryLog::Write(const Arrival& arrival, const Probe& probe, const std::string& datagram) {
    if (!file_.is_open())
        return;
    Json::Value line(Json::objectValue);
    line["interface"] = InterfaceName(arrival.interfaceIndex);
    line["localAddress"] = ToText(arrival.localAddress);
    line["source"] =
        ToText(arrival.source.sin_addr) + ':' + std::to_string(ntohs(arrival.source.sin_port));
    line["valid"] = probe.valid;
    line["reason"] = probe.reason;
    line["messageId"] = probe.messageId;
    line["types"] = probe.types;
    line["bytes"] = datagram;
    file_ << JsonLine(line) << std::endl;
}

}  // namespace vms::sim
