#pragma once

#include <json/value.h>

#include <initializer_list>
#include <string>
#include <vector>

namespace vms::host {

/// A place in a configuration file: a JSON value together with its path, for strict reading. Every
/// operation throws HostError on a value of the wrong kind, naming file, path and what was
/// expected, never the value itself. Refers to its file and value, which must outlive it.
class ConfigNode {
public:
    ConfigNode(const std::string& file, const Json::Value& value, std::string path = {})
        : file_(file), value_(value), path_(std::move(path)) {}

    const Json::Value& Value() const { return value_; }
    const std::string& Path() const { return path_; }

    bool Has(const char* key) const;
    ConfigNode At(const char* key) const;

    /// The elements of an array.
    std::vector<ConfigNode> Elements() const;

    std::string NonEmptyText(const char* key) const;
    std::string TextOr(const char* key, const std::string& otherwise) const;
    /// A text, {"file": path}: the first line of a file, relative to the configuration's folder, or
    /// {"env": name}: an environment variable, which must be set. Not empty if it is there.
    std::string SecretOr(const char* key, const std::string& otherwise) const;
    int IntegerOr(const char* key, int otherwise, int lowest, int highest) const;
    bool BooleanOr(const char* key, bool otherwise) const;

    void RequireObject() const;

    /// That every member is among the known ones: one that nobody reads is a slip of the pen.
    void RequireKnown(std::initializer_list<const char*> known) const;

    /// Throws HostError: "file: path: problem".
    [[noreturn]] void Fail(const std::string& problem) const;

private:
    std::string FirstLine(const std::string& path) const;
    [[noreturn]] void Expected(const std::string& kind) const;

    const std::string& file_;
    const Json::Value& value_;
    std::string path_;  ///< such as modules[0].name; empty for the whole document
};

}  // namespace vms::host
