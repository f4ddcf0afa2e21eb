#include "host/config/HostConfig.h"

#include <filesystem>
#include <limits>
#include <map>

#include "host/config/ConfigNode.h"
#include "host/text/JsonText.h"

namespace vms::host {
namespace {

constexpr int kAnyLowest = std::numeric_limits<int>::min();
constexpr int kAnyHighest = std::numeric_limits<int>::max();
constexpr int kHighestPort = 65535;
constexpr int kMostBodyMegabytes = 65536;
constexpr int kMostWhepPlayers = 1000;

/// One pass over a configuration file.
class ConfigReading {
public:
    ConfigReading(std::string file, std::string defaultLibrary)
        : file_(std::move(file)), defaultLibrary_(std::move(defaultLibrary)) {}

    HostConfig Read() {
        const Json::Value document = ReadJsonFile(file_);
        const ConfigNode root(file_, document);
        root.RequireKnown({"http", "whep", "modules"});
        if (root.Has("http"))
            ReadHttp(root.At("http"));
        if (root.Has("whep"))
            ReadWhep(root.At("whep"));
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
        node.RequireKnown({"host", "port", "advertise", "token", "bodyMegabytes"});
        HttpConfig& http = config_.http;
        http.host = node.TextOr("host", http.host);
        http.port = node.IntegerOr("port", http.port, 0, kHighestPort);
        http.advertise = node.TextOr("advertise", http.advertise);
        http.token = node.TextOr("token", http.token);
        http.bodyMegabytes =
            node.IntegerOr("bodyMegabytes", http.bodyMegabytes, 1, kMostBodyMegabytes);
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
            node.Has("library") ? LibraryPath(node.NonEmptyText("library")) : defaultLibrary_;
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
        node.RequireKnown({"id", "name", "uctype", "devtype", "ptype", "channelnum", "status", "ip",
                           "port", "httpPort", "username", "password", "streamType", "connectType",
                           "p2p", "enable", "httpsEnable"});
        for (const char* key : {"name", "uctype", "ip", "username", "password"})
            node.TextOr(key, "");
        for (const char* key :
             {"devtype", "ptype", "channelnum", "status", "streamType", "connectType", "enable"})
            node.IntegerOr(key, 0, kAnyLowest, kAnyHighest);
        for (const char* key : {"port", "httpPort"})
            node.IntegerOr(key, 0, 0, kHighestPort);
        for (const char* key : {"p2p", "httpsEnable"})
            node.BooleanOr(key, false);
        const std::string id = node.NonEmptyText("id");
        const auto [first, isNew] = devicePlaces_.emplace(id, node.Path());
        if (!isNew)
            node.At("id").Fail("\"" + id + "\" is already the identifier of " + first->second);
        return node.Value();
    }

    std::string LibraryPath(const std::string& library) const {
        return (std::filesystem::path(file_).parent_path() / library).lexically_normal().string();
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

}  // namespace vms::host
