#include "host/cli/CameraOptions.h"

namespace vms::host {

void CameraOptions::AddTo(Options& command) {
    command.RequiredText("--ip", ip, "Address or host name of the camera");
    command.Integer("--port", port, "Port of its ONVIF device service (default: 80)", 1, 65535);
    command.Text("--user", user, "Login name (default: none)");
    command.Either("--password", password.text,
                   "Login password; other users of this machine can see it, so prefer "
                   "--password-file or the environment variable VMS_PASSWORD",
                   "--password-file", password.file, "File whose first line is the password");
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

}  // namespace vms::host
