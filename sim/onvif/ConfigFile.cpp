#include "sim/onvif/ConfigFile.h"

#include <fstream>
#include <set>
#include <stdexcept>
#include <utility>

#include <json/reader.h>

namespace vms::sim {

namespace {

constexpr int kMaxCameras = 20'000;

[[noreturn]] void Fail(const std::string& text) {
    throw std::invalid_argument(text);
}

Json::Value ReadJson(const std::string& path) {
    std::ifstream file(path);
    if (!file)
        Fail("cannot read " + path);
    Json::Value root;
    std::string errors;
    try {
        if (!Json::parseFromStream(Json::CharReaderBuilder(), file, &root, &errors))
            Fail(path + ": " + errors);
    } catch (const Json::Exception& error) {
        Fail(path + ": " + error.what());
    }
    return root;
}

void TakeText(const Json::Value& entry, const char* key, std::string& value) {
    if (!entry.isMember(key))
        return;
    if (!entry[key].isString())
        Fail(std::string("\"") + key + "\" must be a text");
    value = entry[key].asString();
}

int TakeNumber(const Json::Value& entry, const char* key, int fallback, int low, int high) {
    if (!entry.isMember(key))
        return fallback;
    if (!entry[key].isInt() || entry[key].asInt() < low || entry[key].asInt() > high)
        Fail(std::string("\"") + key + "\" must be a number from " + std::to_string(low) + " to " +
             std::to_string(high));
    return entry[key].asInt();
}

void AddFaultObject(const Json::Value& object, FaultSet& faults) {
    for (const std::string& name : object.getMemberNames()) {
        const Json::Value& value = object[name];
        if (value.isBool() && !value.asBool())
            continue;
        const bool bare = value.isBool() || value.isNull();
        if (!bare && !value.isString() && !value.isIntegral())
            Fail("fault \"" + name + "\" must be true, a text or a number");
        faults.Add(ParseFaultRule(bare ? name : name + '=' + value.asString()));
    }
}

void TakeFaults(const Json::Value& entry, FaultSet& faults) {
    const Json::Value& list = entry["faults"];
    if (list.isObject())
        return AddFaultObject(list, faults);
    if (!list.isNull() && !list.isArray())
        Fail("\"faults\" must be a list or an object");
    for (const Json::Value& item : list) {
        if (!item.isString())
            Fail("a fault in a list must be a text");
        faults.Add(ParseFaultRule(item.asString()));
    }
}

void TakePersonality(const Json::Value& entry, CameraConfig& config) {
    std::string name;
    TakeText(entry, "personality", name);
    if (name.empty())
        return;
    config.personality = FindPersonality(name);
    if (config.personality == nullptr)
        Fail("unknown personality: " + name);
}

void TakeCodec(const Json::Value& entry, CameraConfig& config) {
    std::string codec = config.mainIsH265 ? "h265" : "h264";
    TakeText(entry, "codec", codec);
    if (codec != "h264" && codec != "h265")
        Fail("\"codec\" must be h264 or h265");
    config.mainIsH265 = codec == "h265";
}

// A misspelt key would otherwise be a camera that quietly behaves.
void CheckKeys(const Json::Value& entry) {
    static const std::set<std::string> known = {
        "bind",     "codec", "count",       "faults",   "hardware", "location", "name",
        "password", "port",  "personality", "profiles", "user",     "uuid"};
    for (const std::string& key : entry.getMemberNames()) {
        if (known.count(key) == 0)
            Fail("unknown key of a camera: \"" + key + "\"");
    }
}

CameraConfig ReadCamera(const Json::Value& entry, CameraConfig config) {
    if (!entry.isObject())
        Fail("a camera must be an object");
    CheckKeys(entry);
    TakeText(entry, "bind", config.bind);
    config.port = static_cast<uint16_t>(TakeNumber(entry, "port", config.port, 0, 65535));
    TakeText(entry, "user", config.user);
    TakeText(entry, "password", config.password);
    TakeText(entry, "name", config.name);
    TakeText(entry, "hardware", config.hardware);
    TakeText(entry, "location", config.location);
    TakeText(entry, "uuid", config.uuid);
    config.profiles = TakeNumber(entry, "profiles", config.profiles, 0, 2000);
    TakePersonality(entry, config);
    TakeCodec(entry, config);
    TakeFaults(entry, config.faults);
    return config;
}

// An entry may stand for several cameras: ports count up, names get a number.
void AddEntry(const Json::Value& entry, const CameraConfig& base, SimulatorOptions& options) {
    const CameraConfig config = ReadCamera(entry, base);
    const int count = TakeNumber(entry, "count", 1, 1, kMaxCameras);
    if (config.port != 0 && config.port + count > 65536)
        Fail("\"port\" and \"count\" go beyond port 65535");
    for (int i = 0; i < count; ++i) {
        CameraConfig next = config;
        if (config.port != 0)
            next.port = static_cast<uint16_t>(config.port + i);
        if (count > 1)
            next.name += ' ' + std::to_string(i);
        options.cameras.push_back(std::move(next));
    }
}

}  // namespace

void ReadConfigFile(const std::string& path, const CameraConfig& base, SimulatorOptions& options) {
    const Json::Value root = ReadJson(path);
    if (!root.isObject() || !root["cameras"].isArray())
        Fail(path + ": \"cameras\" is missing");
    CameraConfig defaults = base;
    if (root.isMember("defaults"))
        defaults = ReadCamera(root["defaults"], base);
    for (const Json::Value& entry : root["cameras"])
        AddEntry(entry, defaults, options);
}

}  // namespace vms::sim
