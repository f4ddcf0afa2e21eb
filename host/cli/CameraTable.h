#pragma once

#include <json/value.h>

#include <cstddef>
#include <set>
#include <string>

namespace vms::host {

/// Found cameras as lines for a person. A camera that answers on several networks is found several
/// times.
class CameraTable {
public:
    static std::string Header();

    /// @param camera a device object of a search page
    std::string Row(const Json::Value& camera);

    std::string Summary() const;

private:
    size_t answers_ = 0;
    std::set<std::string> addresses_;
};

}  // namespace vms::host
