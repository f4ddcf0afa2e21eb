#include "host/cli/CameraOptions.h"

#include <CLI/CLI.hpp>

namespace vms {

void CameraOptions::AddTo(CLI::App& command) {
    command.add_option("--ip", ip, "Address or host name of the camera")->required();
    command.add_option("--port", port, "Port of its ONVIF device service")
        ->check(CLI::Range(1, 65535))
        ->capture_default_str();
    command.add_option("--user", user, "Login name (default: none)");
    auto* text =
        command.add_option("--password", password.text,
                           "Login password; other users of this machine can see it, so prefer "
                           "--password-file or the environment variable VMS_PASSWORD");
    command.add_option("--password-file", password.file, "File whose first line is the password")
        ->excludes(text);
}

std::string CameraOptions::Address() const {
    return ip + ":" + std::to_string(port);
}

Json::Value CameraOptions::Description() const {
    Json::Value device(Json::objectValue);
    device["ip"] = ip;
    device["port"] = port;
    device["username"] = user;
    device["password"] = ResolvePassword(password);
    return device;
}

}  // namespace vms
