#include "sim/httpdevice/DeviceConfigFile.h"

#include <charconv>
#include <fstream>
#include <limits>
#include <set>
#include <sstream>
#include <stdexcept>

#include "sim/httpdevice/api/Json.h"

namespace vms::sim::httpdevice {

namespace {

constexpr int kMaxDevices = 20'000;
constexpr int kMaxChannels = 256;

[[noreturn]] void Fail(const std::string& text) {
    throw std::invalid_argument(text);
}

void Take(const Json::Value& entry, const char* key, std::string& value) {
    if (!entry.isMember(key))
        return;
    if (!entry[key].isString())
        Fail(std::string("\"") + key + "\" must be a text");
    value = entry[key].asString();
}

void Take(const Json::Value& entry, const char* key, bool& value) {
    if (!entry.isMember(key))
        return;
    if (!entry[key].isBool())
        Fail(std::string("\"") + key + "\" must be true or false");
    value = entry[key].asBool();
}

template <class Integer>
void Take(const Json::Value& entry, const char* key, Integer& value, int64_t low, int64_t high) {
    const auto number = Number(entry, key, low, high, static_cast<int64_t>(value));
    if (!number)
        Fail(std::string("\"") + key + "\" must be a number from " + std::to_string(low) + " to " +
             std::to_string(high));
    value = static_cast<Integer>(*number);
}

// One of two names. @return whether it is `yes`
bool Choose(const Json::Value& entry, const char* key, const char* yes, const char* no, bool now) {
    std::string name = now ? yes : no;
    Take(entry, key, name);
    if (name != yes && name != no)
        Fail(std::string("\"") + key + "\" must be " + yes + " or " + no);
    return name == yes;
}

// A misspelt key would otherwise be a device that quietly behaves.
void CheckKeys(const Json::Value& entry) {
    static const std::set<std::string> known = {
        "audio",    "bind",           "channels", "codec",           "count",          "days",
        "faults",   "faceIntervalMs", "https",    "httpsPort",       "iterations",     "kind",
        "login",    "mute",           "name",     "enableIteration", "password",       "platform",
        "poePorts", "pieceSeconds",   "port",     "recordedUntil",   "sessionSeconds", "user"};
    for (const std::string& key : entry.getMemberNames()) {
        if (known.count(key) == 0)
            Fail("unknown key of a device: \"" + key + "\"");
    }
}

void TakeFaults(const Json::Value& entry, std::vector<DeviceFaultRule>& faults) {
    const Json::Value& list = entry["faults"];
    if (!list.isNull() && !list.isArray())
        Fail("\"faults\" must be a list");
    for (const Json::Value& item : list)
        faults.push_back(ParseDeviceFault(item.isString() ? item.asString() : "?"));
}

void TakeRecordings(const Json::Value& entry, DeviceConfig& config) {
    Take(entry, "days", config.recordedDays, 0, 3650);
    Take(entry, "pieceSeconds", config.pieceSeconds, 1, 86'400);
    Take(entry, "recordedUntil", config.recordedUntil, 0, std::numeric_limits<int32_t>::max());
}

void TakeLogin(const Json::Value& entry, DeviceConfig& config) {
    Take(entry, "user", config.user);
    Take(entry, "password", config.password);
    config.login =
        Choose(entry, "login", "quorix", "sha256-1", config.login == LoginFamily::kQuorix)
            ? LoginFamily::kQuorix
            : LoginFamily::kSha256;
    Take(entry, "iterations", config.iterations, 0, 1'000'000);
    Take(entry, "enableIteration", config.enableIteration);
    Take(entry, "sessionSeconds", config.sessionSeconds, 1, 86'400);
}

DeviceConfig ReadDevice(const Json::Value& entry, DeviceConfig config) {
    if (!entry.isObject())
        Fail("a device must be an object");
    CheckKeys(entry);
    config.recorder = Choose(entry, "kind", "NVR", "IPC", config.recorder);
    config.version6 = Choose(entry, "platform", "V6", "V1", config.version6);
    config.h265 = Choose(entry, "codec", "h265", "h264", config.h265);
    Take(entry, "channels", config.channels, 1, kMaxChannels);
    Take(entry, "name", config.name);
    Take(entry, "bind", config.bind);
    Take(entry, "port", config.port, 0, 65535);
    Take(entry, "https", config.https);
    Take(entry, "httpsPort", config.httpsPort, 0, 65535);
    Take(entry, "poePorts", config.poePorts, -1, 64);
    Take(entry, "faceIntervalMs", config.faceIntervalMs, 1, 3'600'000);
    if (entry.isMember("audio"))
        config.audio = AudioNamed(Text(entry, "audio"));
    Take(entry, "mute", config.mute);
    TakeLogin(entry, config);
    TakeRecordings(entry, config);
    TakeFaults(entry, config.faults);
    return config;
}

// An entry may stand for several devices: ports count up, names get a number.
void AddEntry(const Json::Value& entry, const DeviceConfig& base,
              std::vector<DeviceConfig>& devices) {
    const DeviceConfig config = ReadDevice(entry, base);
    int count = 1;
    Take(entry, "count", count, 1, kMaxDevices);
    if (config.port + count > 65536 || config.httpsPort + count > 65536)
        Fail("ports and \"count\" go beyond port 65535");
    for (int i = 0; i < count; ++i) {
        DeviceConfig next = config;
        if (config.port != 0)
            next.port = static_cast<uint16_t>(config.port + i);
        if (config.httpsPort != 0)
            next.httpsPort = static_cast<uint16_t>(config.httpsPort + i);
        if (count > 1)
            next.name += ' ' + std::to_string(i);
        devices.push_back(std::move(next));
    }
}

size_t ReadPosition(std::string_view text, size_t count) {
    size_t position = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), position);
    if (error != std::errc() || end != text.data() + text.size() || position >= count)
        Fail("there is no device '" + std::string(text) + "'");
    return position;
}

}  // namespace

AudioCodec AudioNamed(const std::string& name) {
    if (name == "alaw")
        return AudioCodec::kALaw;
    if (name == "mulaw")
        return AudioCodec::kMuLaw;
    if (name != "aac")
        Fail("audio must be alaw, mulaw or aac");
    return AudioCodec::kAac;
}

void CheckConfig(const DeviceConfig& config) {
    if (86'400 % config.pieceSeconds != 0)
        Fail("recordings come in pieces that divide a day evenly");
    if (config.channels > 1 && !config.recorder)
        Fail("a camera has one channel");
}

std::vector<DeviceConfig> ReadDeviceFile(const std::string& path, const DeviceConfig& base) {
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    const auto root = ParseJson(text.str());
    if (!file || !root)
        Fail("cannot read " + path + " as JSON");
    if (!Member(*root, "devices").isArray())
        Fail(path + ": \"devices\" is missing");
    const DeviceConfig defaults =
        root->isMember("defaults") ? ReadDevice((*root)["defaults"], base) : base;
    std::vector<DeviceConfig> devices;
    for (const Json::Value& entry : (*root)["devices"])
        AddEntry(entry, defaults, devices);
    return devices;
}

void AssignDeviceFault(const std::string& text, std::vector<DeviceConfig>& devices) {
    const size_t colon = text.find(':');
    if (colon == std::string::npos || devices.empty())
        Fail("fault without devices: " + text);
    const DeviceFaultRule rule = ParseDeviceFault(std::string_view(text).substr(colon + 1));
    const std::string_view range = std::string_view(text).substr(0, colon);
    const size_t dash = range.find('-');
    size_t first = 0;
    size_t last = devices.size() - 1;
    if (range != "*") {
        first = last = ReadPosition(range.substr(0, dash), devices.size());
        if (dash != std::string_view::npos)
            last = ReadPosition(range.substr(dash + 1), devices.size());
    }
    if (last < first)
        Fail("empty range of devices: " + text);
    for (size_t i = first; i <= last; ++i)
        devices[i].faults.push_back(rule);
}

}  // namespace vms::sim::httpdevice
