#pragma once

#include <json/value.h>

#include <optional>
#include <string>
#include <vector>

#include "host/config/Role.h"

namespace vms::host {

/// How the host proves who it is over TLS.
struct TlsConfig {
    std::string certificate;  ///< path of a PEM file; "" = a certificate of the host's own making
    std::string key;          ///< path of a PEM file

    bool IsSelfSigned() const { return certificate.empty(); }
    bool operator==(const TlsConfig&) const = default;
};

/// Where the host listens.
struct HttpConfig {
    std::string host = "127.0.0.1";
    int port = 8080;         ///< 0..65535; 0 = any free one
    std::string advertise;   ///< host name for players, "" = the listening address
    std::string token;       ///< secret of the API, "" = open
    int bodyMegabytes = 64;  ///< 1..65536; memory (MiB) for the bodies and messages that clients
                             ///< are sending, all together
    std::optional<TlsConfig> tls;          ///< unset = plain
    std::string spoolFolder = "/var/tmp";  ///< where downloads are kept meanwhile
    int spoolGigabytes = 8;                ///< 1..100000; of all of them (GiB)
};

/// Where RTSP players are served.
struct RtspConfig {
    std::string host;  ///< "" = that of HTTP
    int port = 8554;   ///< 0..65535; 0 = any free one
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

/// Somebody who may use the host. Those of the configuration cannot be changed but there.
struct UserConfig {
    std::string name;
    Role role = Role::kNone;
    std::string password;
};

struct HostConfig {
    HttpConfig http;
    std::optional<RtspConfig> rtsp;  ///< nothing = not at all
    WhepConfig whep;
    std::vector<UserConfig> users;      ///< at most 32; names are unique
    std::string state;                  ///< folder of what lasts, "" = nothing does
    Json::Value settings;               ///< the whole document without its modules, to compare
    std::vector<ModuleConfig> modules;  ///< at least one

    /// @return null when there is no module of that name
    const ModuleConfig* FindModule(const std::string& name) const;
};

/// Reads a configuration file: {"http": {...}, "rtsp": {...}, "whep": {...}, "state", "users":
/// [{"name", "role", "password"}], "modules": [{"name", "library", "config", "devices"}]}. Paths
/// are taken relative to the file.
/// @param defaultLibrary for modules that name none
/// @throws HostError naming file, place and what was expected
HostConfig ReadHostConfig(const std::string& path, const std::string& defaultLibrary);

/// Only the state folder of a configuration file, whatever else is in it, "" = it names none.
/// @throws HostError
std::string ReadStateFolder(const std::string& path);

}  // namespace vms::host
