#pragma once

#include <memory>

#include "host/http/Grant.h"
#include "host/net/Connection.h"

namespace vms::host {

/// Has a connection end with the right under which its client was let in last, also when it has
/// been upgraded meanwhile: a proxy may bring clients of several rights over one connection. Of the
/// connection's I/O thread.
class GrantWatch {
public:
    /// @param grant null = a right that does not end
    void Watch(const std::shared_ptr<Connection>& connection, const std::shared_ptr<Grant>& grant);

private:
    /// Outlives the watch in upgraded connections.
    const std::shared_ptr<std::weak_ptr<Grant>> latest_ = std::make_shared<std::weak_ptr<Grant>>();
};

}  // namespace vms::host
