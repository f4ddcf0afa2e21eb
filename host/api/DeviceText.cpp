#include "host/api/DeviceText.h"

#include <filesystem>

#include "host/api/ApiError.h"
#include "host/api/ApiFields.h"
#include "host/config/DeviceDescription.h"
#include "host/text/HostError.h"

namespace vms::host {

Json::Value DeviceText(const KnownDevice& device) {
    Json::Value text = device.description;
    text["hasPassword"] = !text.get("password", "").asString().empty();
    text.removeMember("password");
    text["module"] = device.module;
    text["added"] = device.isAdded;
    return text;
}

std::string DescriptionProblem(const Json::Value& description) {
    static const std::string kWhere = "the device";
    try {
        ReadDeviceDescription(ConfigNode(kWhere, description));
        for (const std::string& name : description.getMemberNames()) {
            if (description[name].isString())
                CheckText(description[name].asString(), "\"" + name + "\"",
                          name == "id" ? ApiFields::kLongestId : ApiFields::kLongestText);
        }
    } catch (const HostError& error) {
        return error.what();
    } catch (const ApiError& error) {
        return error.what();
    }
    return "";
}

std::string KindOfLibrary(const std::string& library) {
    static const std::string kFamily = "libfamily_";
    const std::string name = std::filesystem::path(library).stem().string();
    if (name.rfind(kFamily, 0) == 0)
        return name.substr(kFamily.size());
    return name == "libdeviceaccess" ? "onvif" : name;
}

}  // namespace vms::host
