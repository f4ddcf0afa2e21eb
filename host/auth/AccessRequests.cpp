#include "host/auth/AccessRequests.h"

#include <time.h>

#include "platform/Json.h"

namespace vms::host {
namespace {

constexpr size_t kMostValues = 32;
constexpr int64_t kFarthest = int64_t{1} << 40;  ///< s; some 35,000 years

std::optional<int64_t> ReadIsoTime(const std::string& text) {
    tm parts{};
    const char* const end = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%SZ", &parts);
    const int64_t time = timegm(&parts);
    return end != nullptr && *end == '\0' && time >= 0 ? std::optional(time) : std::nullopt;
}

}  // namespace

AccessBody::AccessBody(const std::string& text) {
    Json::Value value;
    if (MostJsonValues(text) > kMostValues || !ParseJson(text.c_str(), value) || !value.isObject())
        problem_ = "the request is not a JSON object";
    else
        value_.swap(value);
}

bool AccessBody::Has(const char* key) const {
    return value_.isMember(key);
}

void AccessBody::Note(const std::string& problem) {
    if (problem_.empty())
        problem_ = problem;
}

const Json::Value& AccessBody::Take(const char* key) {
    taken_ += value_.isMember(key) ? 1 : 0;
    return Member(value_, key);
}

std::string AccessBody::Text(const char* key, bool isNeeded) {
    const Json::Value& value = Take(key);
    if (value.isString() && value.asString().find('\0') == std::string::npos)
        return value.asString();
    if (isNeeded || !value.isNull())
        Note("\"" + std::string(key) + "\" must be a text");
    return {};
}

Role AccessBody::RoleOf(const char* key) {
    const auto role = ReadRole(Text(key));
    if (!role)
        Note("\"" + std::string(key) + "\" must be viewer, operator or admin");
    return role.value_or(Role::kNone);
}

int64_t AccessBody::Number(const char* key, int64_t otherwise, int64_t lowest, int64_t highest) {
    const Json::Value& value = Take(key);
    if (value.isNull())
        return otherwise;
    if (value.type() != Json::realValue && value.isInt64() && value.asInt64() >= lowest &&
        value.asInt64() <= highest)
        return value.asInt64();
    Note("\"" + std::string(key) + "\" must be a whole number from " + std::to_string(lowest) +
         " to " + std::to_string(highest));
    return otherwise;
}

int64_t AccessBody::Time(const char* key, int64_t otherwise) {
    if (!Member(value_, key).isString())
        return Number(key, otherwise, 0, kFarthest);
    const auto time = ReadIsoTime(Text(key));
    if (!time)
        Note("\"" + std::string(key) + "\" must be a time such as 2026-12-31T23:59:59Z");
    return time.value_or(otherwise);
}

std::string AccessBody::Problem() {
    if (taken_ != value_.size())
        Note("the request has members that nobody reads");
    return problem_;
}

}  // namespace vms::host
