#pragma once

#include <json/value.h>

#include <string>
#include <vector>

namespace vms::host {

/// Where the host listens.
struct HttpConfig {
    std::string host = "127.0.0.1";
    int port = 8080;         ///< 0..65535; 0 = any free one
    std::string advertise;   ///< host name for players, "" = the listening address
    std::string token;       ///< secret of the API, "" = open
    int bodyMegabytes = 64;  ///< 1..65536; memory (MiB) for the bodies and messages that clients
                             ///< are sending, all together
};

/// Players over WebRTC.
struct WhepConfig {
    int players = 10;      ///< 0..1000 at a time; 0 = none
    std::string host;      ///< address to receive at, "" = where the host listens
    int firstPort = 0;     ///< 0..65535; UDP ports to receive at, 0 = any
    int lastPort = 0;      ///< the same
    bool isNamed = false;  ///< the file has something to say of it
};

/// One module to run.
struct ModuleConfig {
    std::string name;     ///< name on the bus, unique
    std::string library;  ///< path of the module library
    std::string config;   ///< JSON text for the module, "" = none
    Json::Value devices{
        Json::arrayValue};  ///< device descriptions; identifiers unique in all modules
};

struct HostConfig {
    HttpConfig http;
    WhepConfig whep;
    std::vector<ModuleConfig> modules;  ///< at least one

    /// @return null when there is no module of that name
    const ModuleConfig* FindModule(const std::string& name) const;
};

/// Reads a configuration file: {"http": {...}, "whep": {...}, "modules": [{"name", "library",
/// "config", "devices"}]}. Library paths are taken relative to the file.
/// @param defaultLibrary for modules that name none
/// @throws HostError naming file, place and what was expected
HostConfig ReadHostConfig(const std::string& path, const std::string& defaultLibrary);

}  // namespace vms::host
