// The texts that are posted.
#include "deviceapi/Tavero_Http_Encode.h"
#include "deviceapi/core/JsonTree.h"
#include "deviceapi/core/Text.h"

namespace {

using vms::Concat;
using vms::JsonTree;
using vms::TextOf;

constexpr int kFirstPage = 0;
constexpr int kPageItems = 4000;

struct PrintedDelete {
    void operator()(char* text) const { cJSON_free(text); }
};

std::string Print(const JsonTree& tree) {
    const std::unique_ptr<char, PrintedDelete> text(cJSON_Print(tree.get()));
    return text != nullptr ? text.get() : "";
}

/// Times travel as decimal texts.
void AddTimes(cJSON* data, int startTime, int endTime) {
    cJSON_AddStringToObject(data, "startTime", std::to_string(startTime).c_str());
    cJSON_AddStringToObject(data, "endTime", std::to_string(endTime).c_str());
}

}  // namespace

std::string Tavero_Http_Encode::GetLoginCapabilitiesRequestData(const char* username) {
    return Concat({R"({"action":"get","data":{"username":")", TextOf(username), R"("}})"});
}

std::string Tavero_Http_Encode::GetLoginRequestData(const char* username, const char* password,
                                                    const char* sessionID, const char* datetime) {
    return Concat({R"({"action":"set","data":{"username":")", TextOf(username),
                   R"(","loginEncryptionType":"sha256-1","password":")", TextOf(password),
                   R"(","sessionID":")", TextOf(sessionID), R"(","datetime":")", TextOf(datetime),
                   R"("}})"});
}

std::string Tavero_Http_Encode::GetLogoutRequestData(const char* cookie) {
    return Concat({R"({"action":"set","data":{"cookie":")", TextOf(cookie), R"("}})"});
}

std::string Tavero_Http_Encode::GetHeartbeatRequestData(const char* cookie) {
    return Concat({R"({"action":"set","data":{"cookie":")", TextOf(cookie), R"(", "Api-Session":")",
                   TextOf(cookie), R"("}})"});
}

std::string Tavero_Http_Encode::GetOsdGetRequestData() {
    return R"({ "action": "get", "data" : null })";
}

std::string Tavero_Http_Encode::GetVersionRequestData() {
    return R"({"action":"get"})";
}

// The root is an array that is filled like an object, so its keys are not printed.
std::string Tavero_Http_Encode::SetChannelNameRequestData(const char* devName) {
    const JsonTree root(cJSON_CreateArray());
    cJSON_AddStringToObject(root.get(), "action", "set");
    cJSON* const data = cJSON_AddObjectToObject(root.get(), "data");
    cJSON_AddStringToObject(data, "devName", devName != nullptr ? devName : "");
    return Print(root);
}

std::string Tavero_Http_Encode::GetSearchRecordRequestData_Ipc(int fileType, int startTime,
                                                               int endTime) {
    const JsonTree root(cJSON_CreateObject());
    cJSON_AddStringToObject(root.get(), "action", "get");
    cJSON* const data = cJSON_AddObjectToObject(root.get(), "data");
    cJSON_AddNumberToObject(data, "fileType", fileType);
    AddTimes(data, startTime, endTime);
    return Print(root);
}

std::string Tavero_Http_Encode::GetSearchRecordRequestData_Nvr(int channel, int streamNo,
                                                               int fileType, int startTime,
                                                               int endTime) {
    const JsonTree root(cJSON_CreateObject());
    cJSON_AddStringToObject(root.get(), "action", "get");
    cJSON* const data = cJSON_AddObjectToObject(root.get(), "data");
    cJSON_AddNumberToObject(data, "channel", channel);
    cJSON_AddNumberToObject(data, "streamNo", streamNo);
    cJSON_AddNumberToObject(data, "pageIndex", kFirstPage);
    cJSON_AddNumberToObject(data, "pageItems", kPageItems);
    cJSON_AddNumberToObject(data, "fileType", fileType);
    AddTimes(data, startTime, endTime);
    return Print(root);
}
