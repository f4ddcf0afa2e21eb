#pragma once

#include <json/value.h>

#include <string>

#include "host/cli/Options.h"
#include "host/config/Password.h"

namespace vms::host {

/// The camera that a command line addresses.
struct CameraOptions {
    std::string ip;
    int port = 80;  ///< 1..65535
    std::string user;
    PasswordSource password;

    /// Adds --ip, --port, --user, --password and --password-file.
    void AddTo(Options& command);

    /// "10.0.0.5:80"
    std::string Address() const;

    /// {"ip", "port", "username", "password"} as modules read it. @throws HostError
    Json::Value Description() const;
};

}  // namespace vms::host
