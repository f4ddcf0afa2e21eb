#include "host/config/ConfigNode.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "host/text/HostError.h"
#include "host/text/JsonText.h"

namespace vms::host {
namespace {

const char* KindOf(const Json::Value& value) {
    switch (value.type()) {
        case Json::nullValue:
            return "null";
        case Json::intValue:
        case Json::uintValue:
            return "an integer";
        case Json::realValue:
            return "a number with a fraction";
        case Json::stringValue:
            return "a string";
        case Json::booleanValue:
            return "true or false";
        case Json::arrayValue:
            return "an array";
        case Json::objectValue:
            return "an object";
    }
    return "something else";
}

std::string Listed(std::initializer_list<const char*> names) {
    std::string list;
    for (const char* const name : names)
        list += (list.empty() ? "" : ", ") + std::string(name);
    return list;
}

}  // namespace

bool ConfigNode::Has(const char* key) const {
    RequireObject();
    return value_.isMember(key);
}

ConfigNode ConfigNode::At(const char* key) const {
    RequireObject();
    return {file_, value_[key], path_.empty() ? key : path_ + "." + key};
}

std::vector<ConfigNode> ConfigNode::Elements() const {
    if (!value_.isArray())
        Expected("an array");
    std::vector<ConfigNode> elements;
    for (Json::ArrayIndex i = 0; i < value_.size(); ++i)
        elements.emplace_back(file_, value_[i], path_ + "[" + std::to_string(i) + "]");
    return elements;
}

std::string ConfigNode::NonEmptyText(const char* key) const {
    if (!Has(key))
        Fail(std::string("the member \"") + key + "\" is missing");
    const std::string text = TextOr(key, "");
    if (text.empty())
        At(key).Fail("must not be empty");
    return text;
}

std::string ConfigNode::TextOr(const char* key, const std::string& otherwise) const {
    if (!Has(key))
        return otherwise;
    const ConfigNode member = At(key);
    if (!member.value_.isString())
        member.Expected("a string");
    return member.value_.asString();
}

std::string ConfigNode::SecretOr(const char* key, const std::string& otherwise) const {
    if (!Has(key))
        return otherwise;
    const ConfigNode member = At(key);
    if (member.value_.isString())
        return member.value_.asString();
    if (!member.value_.isObject() || member.value_.size() != 1)
        member.Expected(R"(a string, {"file": path} or {"env": name})");
    member.RequireKnown({"file", "env"});
    const bool isFile = member.Has("file");
    const std::string source = member.NonEmptyText(isFile ? "file" : "env");
    std::string secret;
    if (isFile) {
        const auto path = std::filesystem::path(file_).parent_path() / source;
        secret = member.FirstLine(path.string());
    } else if (const char* const value = std::getenv(source.c_str())) {
        secret = value;
    }
    if (secret.empty() || secret.find('\0') != std::string::npos)
        member.Fail(isFile ? "the file's first line holds no text"
                           : "the environment variable " + source + " is not set");
    return secret;
}

std::string ConfigNode::FirstLine(const std::string& path) const {
    try {
        const std::string content = ReadTextFile(path);
        return content.substr(0, content.find_first_of("\r\n"));
    } catch (const HostError& error) {
        Fail(error.what());
    }
}

int ConfigNode::IntegerOr(const char* key, int otherwise, int lowest, int highest) const {
    if (!Has(key))
        return otherwise;
    const ConfigNode member = At(key);
    const bool integer = member.value_.isInt() && member.value_.type() != Json::realValue;
    if (!integer || member.value_.asInt() < lowest || member.value_.asInt() > highest)
        member.Expected("an integer from " + std::to_string(lowest) + " to " +
                        std::to_string(highest));
    return member.value_.asInt();
}

bool ConfigNode::BooleanOr(const char* key, bool otherwise) const {
    if (!Has(key))
        return otherwise;
    const ConfigNode member = At(key);
    if (!member.value_.isBool())
        member.Expected("true or false");
    return member.value_.asBool();
}

void ConfigNode::RequireObject() const {
    if (!value_.isObject())
        Expected("an object");
}

void ConfigNode::RequireKnown(std::initializer_list<const char*> known) const {
    RequireObject();
    for (const std::string& key : value_.getMemberNames()) {
        const bool isKnown =
            std::any_of(known.begin(), known.end(), [&](const char* name) { return key == name; });
        if (!isKnown)
            At(key.c_str()).Fail("no such member; known are " + Listed(known));
    }
}

void ConfigNode::Fail(const std::string& problem) const {
    throw HostError(file_ + ": " + (path_.empty() ? problem : path_ + ": " + problem));
}

void ConfigNode::Expected(const std::string& kind) const {
    Fail("expected " + kind + ", found " + KindOf(value_));
}

}  // namespace vms::host
