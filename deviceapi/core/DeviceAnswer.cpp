#include "deviceapi/core/DeviceAnswer.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

namespace vms {

JsonTree ParseAnswer(const char* text) {
    JsonTree root(cJSON_Parse(text));
    int code = -1;
    if (!TakeNumber(root.get(), "code", code) || code != 0)
        root.reset();
    return root;
}

const cJSON* MemberOf(const cJSON* object, const char* key) {
    return cJSON_IsObject(object) ? cJSON_GetObjectItemCaseSensitive(object, key) : nullptr;
}

bool TakeText(const cJSON* object, const char* key, std::string& out) {
    const cJSON* const member = MemberOf(object, key);
    if (!cJSON_IsString(member))
        return false;
    out = member->valuestring;
    return true;
}

bool TakeNumber(const cJSON* object, const char* key, int& out) {
    const cJSON* const member = MemberOf(object, key);
    if (!cJSON_IsNumber(member))
        return false;
    out = member->valueint;
    return true;
}

bool TakeFlag(const cJSON* object, const char* key, bool& out) {
    const cJSON* const member = MemberOf(object, key);
    if (!cJSON_IsBool(member) && !cJSON_IsNumber(member))
        return false;
    out = cJSON_IsTrue(member) || member->valueint != 0;
    return true;
}

bool TakeDecimal(const cJSON* object, const char* key, int& out) {
    const cJSON* const member = MemberOf(object, key);
    if (!cJSON_IsString(member))
        return false;
    const long value = std::strtol(member->valuestring, nullptr, 10);
    out = static_cast<int>(std::clamp<long>(value, INT_MIN, INT_MAX));
    return true;
}

}  // namespace vms
