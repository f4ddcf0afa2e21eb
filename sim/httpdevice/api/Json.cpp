#include "sim/httpdevice/api/Json.h"

#include <memory>

#include <json/reader.h>

namespace vms::sim::httpdevice {

namespace {

Json::CharReaderBuilder StrictBuilder() {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    return builder;
}

}  // namespace

std::optional<Json::Value> ParseJson(std::string_view text) {
    static const Json::CharReaderBuilder builder = StrictBuilder();
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    try {
        if (reader->parse(text.data(), text.data() + text.size(), &value, nullptr))
            return value;
    } catch (const Json::Exception&) {
        // Nested too deeply.
    }
    return std::nullopt;
}

const Json::Value& Member(const Json::Value& object, const char* key) {
    return object.isObject() ? object[key] : Json::Value::nullSingleton();
}

std::string Text(const Json::Value& object, const char* key) {
    const Json::Value& member = Member(object, key);
    return member.isString() ? member.asString() : std::string();
}

std::optional<int64_t> Number(const Json::Value& object, const char* key, int64_t low, int64_t high,
                              std::optional<int64_t> fallback) {
    const Json::Value& member = Member(object, key);
    if (member.isNull())
        return fallback;
    if (!member.isInt64() || member.asInt64() < low || member.asInt64() > high)
        return std::nullopt;
    return member.asInt64();
}

}  // namespace vms::sim::httpdevice
