#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "host/state/Database.h"
#include "host/state/StateFolder.h"

namespace vms::host {

/// All that lasts: the state folder with its database and keys. Without a folder it is in memory
/// and ends with this object. Thread-safe.
class State {
public:
    /// @param folder "" = in memory @throws HostError
    explicit State(const std::string& folder, const DatabaseSettings& settings = {});

    Database& Data() { return database_; }

    /// So many random bytes, always the same under one name. @throws HostError
    std::string Key(const std::string& name, size_t length) const;

private:
    const std::optional<StateFolder> folder_;
    Database database_;
};

}  // namespace vms::host
