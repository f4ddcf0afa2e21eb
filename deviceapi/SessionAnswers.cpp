// Answers around a login: capabilities of the login and of the device, session, heartbeat.
#include "deviceapi/Tavero_Http_Encode.h"
#include "deviceapi/core/DeviceAnswer.h"

namespace {

using vms::JsonTree;
using vms::MemberOf;
using vms::ParseAnswer;
using vms::TakeText;

/// What a password is hashed with.
void TakeHashParameters(const cJSON* param, std::string& salt, int& iterations,
                        bool& enableIteration) {
    vms::TakeNumber(param, "iterations", iterations);
    vms::TakeFlag(param, "enableIteration", enableIteration);
    TakeText(param, "salt", salt);
}

/// Parameters of the scheme that stands first among the device's.
const cJSON* FirstSchemeOf(const cJSON* data) {
    const cJSON* const types = MemberOf(data, "encryptionType");
    const cJSON* const name = cJSON_IsArray(types) ? types->child : nullptr;
    if (!cJSON_IsString(name))
        return nullptr;
    return MemberOf(MemberOf(data, "param"), name->valuestring);
}

}  // namespace

int Tavero_Http_Encode::DeSerializeCode(const char* text) {
    return ParseAnswer(text) != nullptr ? 0 : -1;
}

int Tavero_Http_Encode::DeSerializeHeartbeat(const char* text) {
    return DeSerializeCode(text);
}

int Tavero_Http_Encode::DeSerializeLoginCapabilities(const char* text, std::string& challenge,
                                                     std::string& salt, std::string& sessionID,
                                                     int& iterations, bool& enableIteration) {
    const JsonTree answer = ParseAnswer(text);
    const cJSON* const data = MemberOf(answer.get(), "data");
    const cJSON* const param = MemberOf(data, "param");
    TakeText(data, "sessionID", sessionID);
    TakeText(param, "challenge", challenge);
    TakeHashParameters(param, salt, iterations, enableIteration);
    return cJSON_IsObject(param) ? 0 : -1;
}

int Tavero_Http_Encode::DeSerializeLogin(const char* text, std::string& session) {
    const JsonTree answer = ParseAnswer(text);
    const cJSON* const data = MemberOf(answer.get(), "data");
    const bool hasCookie = TakeText(data, "cookie", session);
    const bool hasSession = TakeText(data, "Api-Session", session);
    return hasCookie || hasSession ? 0 : -1;
}

int Tavero_Http_Encode::DeSerializeCapability(const char* text, std::string& salt, int& iterations,
                                              bool& enableIteration) {
    const JsonTree answer = ParseAnswer(text);
    const cJSON* const param = FirstSchemeOf(MemberOf(answer.get(), "data"));
    TakeHashParameters(param, salt, iterations, enableIteration);
    return cJSON_IsObject(param) ? 0 : -1;
}
