#include "host/config/HostConfig.h"

#include <filesystem>
#include <map>

#include "host/config/ConfigNode.h"
#include "host/config/DeviceDescription.h"
#include "host/text/JsonText.h"

namespace vms::host {
namespace {

constexpr int kHighestPort = 65535;
constexpr int kMostSpoolGigabytes = 100'000;
constexpr int kMostBodyMegabytes = 65536;
constexpr size_t kMostUsers = 32;  ///< the password of each is hashed at the start

/// A path of the file, which is relative to the file's folder.
std::string PathBeside(const std::string& file, const std::string& relative) {
    return (std::filesystem::path(file).parent_path() / relative).lexically_normal().string();
}
constexpr int kMostWhepPlayers = 1000;

/// One pass over a configuration file.
class ConfigReading {
public:
    ConfigReading(std::string file, std::string defaultLibrary)
        : file_(std::move(file)), defaultLibrary_(std::move(defaultLibrary)) {}

    HostConfig Read() {
        const Json::Value document = ReadJsonFile(file_);
        const ConfigNode root(file_, document);
        root.RequireKnown({"http", "rtsp", "whep", "modules", "state", "users"});
        if (root.Has("state"))
            config_.state = PathBeside(file_, root.NonEmptyText("state"));
        if (root.Has("http"))
            ReadHttp(root.At("http"));
        if (root.Has("rtsp"))
            ReadRtsp(root.At("rtsp"));
        if (root.Has("whep"))
            ReadWhep(root.At("whep"));
        if (root.Has("users"))
            ReadUsers(root.At("users"));
        config_.settings = document;
        config_.settings.removeMember("modules");
        if (!root.Has("modules"))
            root.Fail("the member \"modules\" is missing");
        for (const ConfigNode& module : root.At("modules").Elements())
            ReadModule(module);
        if (config_.modules.empty())
            root.At("modules").Fail("must name at least one module");
        return std::move(config_);
    }

private:
    void ReadHttp(const ConfigNode& node) {
        node.RequireKnown({"host", "port", "advertise", "token", "bodyMegabytes", "tls", "spool"});
        HttpConfig& http = config_.http;
        http.host = node.TextOr("host", http.host);
        http.port = node.IntegerOr("port", http.port, 0, kHighestPort);
        http.advertise = node.TextOr("advertise", http.advertise);
        http.token = node.SecretOr("token", http.token);
        http.bodyMegabytes =
            node.IntegerOr("bodyMegabytes", http.bodyMegabytes, 1, kMostBodyMegabytes);
        if (node.Has("tls"))
            http.tls = ReadTls(node.At("tls"));
        if (node.Has("spool"))
            ReadSpool(node.At("spool"));
    }

    void ReadSpool(const ConfigNode& node) {
        node.RequireKnown({"folder", "gigabytes"});
        HttpConfig& http = config_.http;
        http.spoolFolder = node.TextOr("folder", http.spoolFolder);
        http.spoolGigabytes =
            node.IntegerOr("gigabytes", http.spoolGigabytes, 1, kMostSpoolGigabytes);
    }

    TlsConfig ReadTls(const ConfigNode& node) const {
        if (!node.Value().isString()) {
            node.RequireKnown({"certificate", "key"});
            return {PathBeside(file_, node.NonEmptyText("certificate")),
                    PathBeside(file_, node.NonEmptyText("key"))};
        }
        if (node.Value().asString() != "self-signed")
            node.Fail("expected an object or \"self-signed\"");
        if (config_.state.empty())
            node.Fail(
                "a self-signed certificate is kept in the folder \"state\", which is missing");
        return {};
    }

    void ReadUsers(const ConfigNode& node) {
        for (const ConfigNode& user : node.Elements())
            ReadUser(user);
        if (config_.users.size() > kMostUsers)
            node.Fail("at most 32 users may be listed here; add others with 'vmshost user add'");
    }

    void ReadUser(const ConfigNode& node) {
        node.RequireKnown({"name", "role", "password"});
        UserConfig user;
        user.name = node.NonEmptyText("name");
        for (const UserConfig& other : config_.users) {
            if (other.name == user.name)
                node.At("name").Fail("a second user named \"" + user.name + "\"");
        }
        const auto role = ReadRole(node.NonEmptyText("role"));
        if (!role)
            node.At("role").Fail("must be viewer, operator or admin");
        user.role = *role;
        user.password = node.SecretOr("password", "");
        if (user.password.empty())
            node.Fail("a user needs a password");
        config_.users.push_back(std::move(user));
    }

    void ReadRtsp(const ConfigNode& node) {
        node.RequireKnown({"host", "port"});
        RtspConfig rtsp;
        rtsp.host = node.TextOr("host", rtsp.host);
        rtsp.port = node.IntegerOr("port", rtsp.port, 0, kHighestPort);
        config_.rtsp = rtsp;
    }

    void ReadWhep(const ConfigNode& node) {
        node.RequireKnown({"players", "host", "firstPort", "lastPort"});
        WhepConfig& whep = config_.whep;
        whep.isNamed = true;
        whep.players = node.IntegerOr("players", whep.players, 0, kMostWhepPlayers);
        whep.host = node.TextOr("host", whep.host);
        whep.firstPort = node.IntegerOr("firstPort", whep.firstPort, 0, kHighestPort);
        whep.lastPort = node.IntegerOr("lastPort", whep.lastPort, 0, kHighestPort);
        if (whep.firstPort > whep.lastPort || (whep.firstPort == 0) != (whep.lastPort == 0))
            node.Fail("\"firstPort\" and \"lastPort\" must name a range");
    }

    void ReadModule(const ConfigNode& node) {
        node.RequireKnown({"name", "library", "config", "devices"});
        ModuleConfig module;
        module.name = node.NonEmptyText("name");
        if (config_.FindModule(module.name) != nullptr)
            node.At("name").Fail("a second module named \"" + module.name + "\"");
        module.library =
            node.Has("library") ? PathBeside(file_, node.NonEmptyText("library")) : defaultLibrary_;
        if (node.Has("config")) {
            node.At("config").RequireObject();
            module.config = CompactJson(node.At("config").Value());
        }
        if (node.Has("devices")) {
            for (const ConfigNode& device : node.At("devices").Elements())
                module.devices.append(ReadDevice(device));
        }
        config_.modules.push_back(std::move(module));
    }

    Json::Value ReadDevice(const ConfigNode& node) {
        Json::Value device = ReadDeviceDescription(node);
        const std::string id = device["id"].asString();
        const auto [first, isNew] = devicePlaces_.emplace(id, node.Path());
        if (!isNew)
            node.At("id").Fail("\"" + id + "\" is already the identifier of " + first->second);
        return device;
    }

    const std::string file_;
    const std::string defaultLibrary_;
    HostConfig config_;
    std::map<std::string, std::string> devicePlaces_;  ///< identifier -> path in the file
};

}  // namespace

const ModuleConfig* HostConfig::FindModule(const std::string& name) const {
    for (const ModuleConfig& module : modules) {
        if (module.name == name)
            return &module;
    }
    return nullptr;
}

HostConfig ReadHostConfig(const std::string& path, const std::string& defaultLibrary) {
    return ConfigReading(path, defaultLibrary).Read();
}

std::string ReadStateFolder(const std::string& path) {
    const Json::Value document = ReadJsonFile(path);
    const ConfigNode root(path, document);
    return root.Has("state") ? PathBeside(path, root.NonEmptyText("state")) : std::string();
}

}  // namespace vms::host
