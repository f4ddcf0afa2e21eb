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
    std::string spoolFolder = "/var/tmp";  ///< where downloads are kept meanwhile
    int spoolGigabytes = 8;                ///< 1..100000; of all of them (GiB)
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
    std::vector<ModuleConfig> modules;  ///< at least one

    /// @return null when there is no module of that name
    const ModuleConfig* FindModule(const std::string& name) const;
};

/// Reads a configuration file: {"http": {...}, "modules": [{"name", "library", "config",
/// "devices"}]}. Library paths are taken relative to the file.
/// @param defaultLibrary for modules that name none
/// @throws HostError naming file, place and what was expected
HostConfig ReadHostConfig(const std::string& path, const std::string& defaultLibrary);

}  // namespace vms::host
