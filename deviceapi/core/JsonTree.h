#pragma once

#include <cjson/cJSON.h>

#include <memory>

namespace vms {

struct JsonTreeDelete {
    void operator()(cJSON* root) const { cJSON_Delete(root); }
};

/// Owns a tree by its root.
using JsonTree = std::unique_ptr<cJSON, JsonTreeDelete>;

}  // namespace vms
