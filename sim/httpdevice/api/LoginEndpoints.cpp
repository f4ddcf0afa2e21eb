#include "sim/httpdevice/api/Endpoints.h"
#include "sim/soap/Digest.h"

namespace vms::sim::httpdevice {

namespace {

constexpr size_t kNonceBytes = 8;  // sixteen characters: one block
constexpr size_t kIvBytes = 16;

// Makers differ in how they write a flag.
Json::Value Flag(const Device& device, bool value) {
    return device.config().version6 ? Json::Value(value) : Json::Value(value ? 1 : 0);
}

Json::Value SchemeList(const Device& device) {
    Json::Value list(Json::arrayValue);
    list.append(NameOf(device.config().login));
    return list;
}

std::string SixteenBytes() {
    std::string bytes = RandomHex(kIvBytes);
    return bytes.substr(0, kIvBytes);
}

Json::Value KeyCheck(Device& device, const std::string& token) {
    const DeviceConfig& config = device.config();
    const std::string nonce = RandomHex(kNonceBytes);
    device.sessions().SetNonce(token, nonce);
    const std::string key =
        DeriveKey(config.login, config.user, config.password, device.sessions().salt(),
                  config.enableIteration ? config.iterations : 0);
    const std::string iv = SixteenBytes();
    Json::Value check(Json::objectValue);
    check["cipher"] = "aes-128-cbc";
    check["iv"] = EncodeBase64(iv);
    check["data"] = EncodeBase64(EncryptBlock(key, iv, nonce));
    return check;
}

}  // namespace

ApiAnswer LoginCapabilities(Device& device, const ApiCall& call) {
    if (!call.IsGet())
        return ResultCode::kUnknownAction;
    const auto rounds = device.faults().Find(DeviceFault::kIterations);
    const Challenge challenge = device.sessions().Issue(
        Clock::now(), rounds ? static_cast<int>(*rounds) : device.config().iterations);
    Json::Value data(Json::objectValue);
    data["sessionID"] = challenge.sessionId;
    data["encryptionType"] = SchemeList(device);
    data["param"]["challenge"] = challenge.challenge;
    data["param"]["salt"] = challenge.salt;
    data["param"]["iterations"] = challenge.iterations;
    data["param"]["enableIteration"] = Flag(device, challenge.enableIteration);
    return data;
}

ApiAnswer Login(Device& device, const ApiCall& call) {
    if (!call.IsSet())
        return ResultCode::kUnknownAction;
    if (Text(call.data(), "loginEncryptionType") != "sha256-1")
        return ResultCode::kBadValue;
    std::string token;
    const ResultCode code = device.sessions().Login(Clock::now(), Text(call.data(), "sessionID"),
                                                    Text(call.data(), "username"),
                                                    Text(call.data(), "password"), token);
    if (code != ResultCode::kDone)
        return code;
    if (device.faults().Has(DeviceFault::kLoginRefused)) {
        device.sessions().Logout(token);
        return ResultCode::kLoginRefused;
    }
    Json::Value data(Json::objectValue);
    if (!device.faults().Has(DeviceFault::kApiSessionOnly))
        data["cookie"] = "sid=" + token;
    if (!device.faults().Has(DeviceFault::kCookieOnly))
        data["Api-Session"] = token;
    return data;
}

ApiAnswer Logout(Device& device, const ApiCall& call) {
    if (!call.IsSet())
        return ResultCode::kUnknownAction;
    device.sessions().Logout(call.token);
    return ResultCode::kDone;
}

ApiAnswer Heartbeat(Device&, const ApiCall& call) {
    return call.IsSet() ? ResultCode::kDone : ResultCode::kUnknownAction;
}

ApiAnswer SecurityCapability(Device& device, const ApiCall& call) {
    if (call.IsSet() && device.faults().Has(DeviceFault::kKeyRefused))
        return ResultCode::kWrongKey;
    if (call.IsSet())
        return device.sessions().ProveKey(call.token, Text(call.data(), "nonce"));
    if (!call.IsGet())
        return ResultCode::kUnknownAction;
    const DeviceConfig& config = device.config();
    Json::Value data(Json::objectValue);
    data["encryptionType"] = SchemeList(device);
    Json::Value& scheme = data["param"][NameOf(config.login)];
    scheme["iterations"] = config.iterations;
    scheme["enableIteration"] = Flag(device, config.enableIteration);
    scheme["salt"] = device.sessions().salt();
    data["keyCheck"] = KeyCheck(device, call.token);
    return data;
}

}  // namespace vms::sim::httpdevice
