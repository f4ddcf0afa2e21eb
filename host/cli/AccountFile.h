#pragma once

#include <cstdint>
#include <string>

#include "host/auth/Credentials.h"
#include "host/cli/Options.h"
#include "host/state/State.h"

namespace vms::host {

/// The state that a configuration names, for commands that work on it whether a host runs on it or
/// not; a running host notices within a second.
class AccountFile {
public:
    /// @param config configuration file @throws HostError when it names no state folder
    explicit AccountFile(const std::string& config);

    Database& Data() { return state_.Data(); }
    const Credentials& Secrets() const { return credentials_; }

private:
    State state_;
    const Credentials credentials_;
};

/// Seconds since the epoch.
int64_t TimeNow();

/// "viewer", "operator" or "admin", as Options::Check wants it.
std::string CheckRole(const std::string& text);
std::string CheckName(const std::string& text);

}  // namespace vms::host
