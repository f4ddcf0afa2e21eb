#include "host/config/ConfigChanges.h"

#include <set>

namespace vms::host {
namespace {

constexpr int kDeepest = 4;  ///< below, the member as a whole has changed

void Compare(const Json::Value& one, const Json::Value& other, const std::string& path, int depth,
             std::vector<std::string>& changed) {
    if (one == other)
        return;
    const bool bothObjects =
        (one.isObject() || one.isNull()) && (other.isObject() || other.isNull());
    if (!bothObjects || depth >= kDeepest) {
        changed.push_back(path);
        return;
    }
    std::set<std::string> names;
    for (const Json::Value* value : {&one, &other}) {
        for (const std::string& name : value->getMemberNames())
            names.insert(name);
    }
    for (const std::string& name : names)
        Compare(one.get(name, {}), other.get(name, {}), path.empty() ? name : path + "." + name,
                depth + 1, changed);
}

}  // namespace

std::vector<std::string> ChangedMembers(const Json::Value& one, const Json::Value& other) {
    std::vector<std::string> changed;
    Compare(one, other, "", 0, changed);
    return changed;
}

}  // namespace vms::host
