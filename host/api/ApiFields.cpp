#include "host/api/ApiFields.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "host/api/ApiError.h"
#include "host/text/IsoTime.h"
#include "host/text/Utf8.h"
#include "platform/Json.h"

namespace vms::host {
namespace {

constexpr int kBadRequest = 400;
constexpr int kHighestChannel = 4095;

bool IsControl(char byte) {
    return static_cast<unsigned char>(byte) < ' ' || byte == '\x7f';
}

Json::Value ParseBody(const std::string& text) {
    Json::Value value;
    if (MostJsonValues(text) > ApiFields::kMostValues)
        throw ApiError(kBadRequest, "the request has more than 10,000 values");
    if (text.find('\0') != std::string::npos || !ParseJson(text.c_str(), value) ||
        !value.isObject())
        throw ApiError(kBadRequest, "the request is not a JSON object");
    return value;
}

std::optional<int> Number(const std::string& text) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

}  // namespace

void CheckText(const std::string& text, const std::string& what, size_t longest) {
    if (text.size() > longest)
        throw ApiError(kBadRequest, what + ": longer than " + std::to_string(longest) + " bytes");
    if (std::any_of(text.begin(), text.end(), IsControl))
        throw ApiError(kBadRequest, what + ": must not hold control characters");
    if (!IsUtf8(text))
        throw ApiError(kBadRequest, what + ": is not UTF-8 text");
}

ApiFields ApiFields::OfQuery(const HttpRequest& request) {
    Json::Value values(Json::objectValue);
    for (const auto& [name, value] : request.query)
        values[name] = value;
    return {std::move(values), "", true};
}

ApiFields ApiFields::OfBody(const HttpRequest& request, std::initializer_list<const char*> known) {
    ApiFields fields(ParseBody(request.body), "", false);
    fields.RequireKnown(known);
    return fields;
}

ApiFields ApiFields::OfObject(const Json::Value& value, const std::string& place,
                              std::initializer_list<const char*> known) {
    if (!value.isObject())
        throw ApiError(kBadRequest, "\"" + place + "\": expected an object");
    ApiFields fields(value, place + ".", false);
    fields.RequireKnown(known);
    return fields;
}

void ApiFields::RequireKnown(std::initializer_list<const char*> known) const {
    for (const std::string& name : values_.getMemberNames()) {
        if (std::any_of(known.begin(), known.end(), [&](const char* one) { return name == one; }))
            continue;
        std::string list;
        for (const char* const one : known)
            list += (list.empty() ? "" : ", ") + std::string(one);
        CheckText(name, "a member's name", kLongestId);
        Fail(name.c_str(), "no such member; known are " + list);
    }
}

void ApiFields::Fail(const char* name, const std::string& problem) const {
    throw ApiError(kBadRequest, "\"" + place_ + name + "\": " + problem);
}

const Json::Value& ApiFields::At(const char* name) const {
    if (!Has(name))
        Fail(name, "is missing");
    return values_[name];
}

std::string ApiFields::Text(const char* name, size_t longest) const {
    const Json::Value& value = At(name);
    if (!value.isString())
        Fail(name, "expected a text");
    const std::string text = value.asString();
    CheckText(text, "\"" + place_ + name + "\"", longest);
    return text;
}

std::string ApiFields::TextOr(const char* name, const std::string& otherwise,
                              size_t longest) const {
    return Has(name) ? Text(name, longest) : otherwise;
}

std::string ApiFields::Device(const char* name) const {
    std::string id = Text(name, kLongestId);
    if (id.empty())
        Fail(name, "must not be empty");
    return id;
}

int ApiFields::Integer(const char* name, int lowest, int highest) const {
    const Json::Value& value = At(name);
    std::optional<int> number;
    if (isQuery_)
        number = Number(value.asString());
    else if (value.isInt() && value.type() != Json::realValue)
        number = value.asInt();
    if (!number || *number < lowest || *number > highest)
        Fail(name, "expected an integer from " + std::to_string(lowest) + " to " +
                       std::to_string(highest));
    return *number;
}

int ApiFields::IntegerOr(const char* name, int otherwise, int lowest, int highest) const {
    return Has(name) ? Integer(name, lowest, highest) : otherwise;
}

int ApiFields::Channel() const {
    return IntegerOr("channel", 0, 0, kHighestChannel);
}

bool ApiFields::BooleanOr(const char* name, bool otherwise) const {
    if (!Has(name))
        return otherwise;
    const Json::Value& value = values_[name];
    if (isQuery_ && (value == "true" || value == "false"))
        return value == "true";
    if (!value.isBool())
        Fail(name, "expected true or false");
    return value.asBool();
}

int64_t ApiFields::Time(const char* name) const {
    const Json::Value& value = At(name);
    std::optional<int64_t> time;
    if (value.isString())
        time = ParseTime(value.asString());
    else if (value.isInt() && value.type() != Json::realValue && value.asInt() >= 0)
        time = value.asInt();
    if (!time)
        Fail(name, "expected a time such as 2026-03-05T10:00:00Z, or seconds since the epoch");
    return *time;
}

std::optional<int64_t> ApiFields::TimeIfThere(const char* name) const {
    return Has(name) ? std::optional(Time(name)) : std::nullopt;
}

std::vector<ApiFields> ApiFields::Objects(const char* name, size_t most,
                                          std::initializer_list<const char*> known) const {
    std::vector<ApiFields> objects;
    if (!Has(name))
        return objects;
    const Json::Value& value = values_[name];
    if (!value.isArray())
        Fail(name, "expected an array");
    if (value.size() > most)
        Fail(name, "more than " + std::to_string(most) + " elements");
    for (Json::ArrayIndex i = 0; i < value.size(); ++i)
        objects.push_back(OfObject(value[i], place_ + name + "[" + std::to_string(i) + "]", known));
    return objects;
}

}  // namespace vms::host
