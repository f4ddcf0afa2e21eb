// Answers about the device itself.
#include "deviceapi/Tavero_Http_Encode.h"
#include "deviceapi/core/DeviceAnswer.h"

using vms::JsonTree;
using vms::MemberOf;
using vms::ParseAnswer;
using vms::TakeText;

int Tavero_Http_Encode::DeSerializeOsdGet(const char* text, std::string& osdText) {
    const JsonTree answer = ParseAnswer(text);
    TakeText(MemberOf(answer.get(), "data"), "text", osdText);
    return answer != nullptr ? 0 : -1;
}

int Tavero_Http_Encode::DeSerializeVersion(const char* text, std::string& firmwareVersion,
                                           std::string& devName) {
    const JsonTree answer = ParseAnswer(text);
    const cJSON* const data = MemberOf(answer.get(), "data");
    const bool hasVersion = TakeText(data, "firmwareVersion", firmwareVersion);
    const bool hasName = TakeText(data, "devName", devName);
    return hasVersion || hasName ? 0 : -1;
}
