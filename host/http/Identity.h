#pragma once

#include <memory>
#include <string>

#include "host/config/Role.h"
#include "host/http/Grant.h"

namespace vms::host {

/// Who asks, as the gate has found out.
struct Identity {
    std::string name;  ///< of the user or token; "" = anonymous
    Role role = Role::kNone;
    /// Ends when the session, token or user does; whoever serves for longer than one answer
    /// listens to it (connections of the HTTP server are seen to). Null = does not end.
    std::shared_ptr<Grant> grant{};
};

}  // namespace vms::host
