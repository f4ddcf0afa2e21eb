#include "host/cli/CameraTable.h"

#include <iomanip>
#include <sstream>

#include "host/text/TerminalText.h"
#include "platform/Json.h"

namespace vms::host {
namespace {

constexpr int kAddressWidth = 22;
constexpr int kNameWidth = 24;

std::string Text(const Json::Value& camera, const char* key) {
    std::string text;
    ReadString(camera, key, text);
    return text;
}

std::string Line(const std::string& address, const std::string& name, const std::string& details) {
    std::ostringstream line;
    line << std::left << std::setw(kAddressWidth) << address << " " << std::setw(kNameWidth) << name
         << " " << details;
    const std::string text = line.str();
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

/// Whatever else the camera told: type, version, hardware address, serial number.
std::string Details(const Json::Value& camera) {
    std::string details;
    for (const char* key : {"uctype", "ver", "mac", "sn"}) {
        const std::string text = Printable(Text(camera, key));
        if (!text.empty())
            details += (details.empty() ? "" : ", ") + text;
    }
    return details;
}

std::string Counted(size_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

}  // namespace

std::string CameraTable::Header() {
    return Line("ADDRESS", "NAME", "DETAILS");
}

std::string CameraTable::Row(const Json::Value& camera) {
    int port = 0;
    ReadInt(camera, "port", port);
    const std::string address = Printable(Text(camera, "ip")) + ":" + std::to_string(port);
    ++answers_;
    addresses_.insert(address);
    return Line(address, Printable(PercentDecoded(Text(camera, "name"))), Details(camera));
}

std::string CameraTable::Summary() const {
    std::string summary = Counted(addresses_.size(), "camera") + " found";
    if (answers_ != addresses_.size())
        summary += " (" + Counted(answers_, "answer") + ")";
    return summary;
}

}  // namespace vms::host
