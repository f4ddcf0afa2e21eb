#include "platform/Json.h"

#include <json/reader.h>

#include <cstring>
#include <limits>

namespace vms {

// The older reader takes duplicate keys, comments and text after the document, which hosts send;
// its successor in strict mode does not.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
bool ParseJson(const char* text, Json::Value& value) {
    value = Json::Value();
    if (text == nullptr)
        return false;
    try {
        Json::Reader reader(Json::Features::strictMode());
        if (reader.parse(text, text + std::strlen(text), value, false))
            return true;
    } catch (...) {
        // Beyond its depth limit the reader throws.
    }
    value = Json::Value();
    return false;
}
#pragma GCC diagnostic pop

const Json::Value& FirstElement(const Json::Value& value) {
    if (!value.isArray())
        return value;
    return value.empty() ? Json::Value::nullSingleton() : value[0u];
}

const Json::Value& Member(const Json::Value& object, const char* key) {
    const Json::Value* found = nullptr;
    if (object.isObject() && key != nullptr)
        found = object.find(key, key + std::strlen(key));
    return found == nullptr ? Json::Value::nullSingleton() : *found;
}

bool ReadString(const Json::Value& object, const char* key, std::string& out) {
    const Json::Value& member = Member(object, key);
    if (!member.isString())
        return false;
    out = member.asString();
    return true;
}

bool ReadInt(const Json::Value& object, const char* key, int& out) {
    const Json::Value& member = Member(object, key);
    if (!member.isInt())
        return false;
    out = member.asInt();
    return true;
}

bool ReadInt16(const Json::Value& object, const char* key, short& out) {
    int value = 0;
    if (!ReadInt(object, key, value) || value < std::numeric_limits<short>::min() ||
        value > std::numeric_limits<short>::max())
        return false;
    out = static_cast<short>(value);
    return true;
}

bool ReadBool(const Json::Value& object, const char* key, bool& out) {
    const Json::Value& member = Member(object, key);
    if (!member.isBool())
        return false;
    out = member.asBool();
    return true;
}

}  // namespace vms
