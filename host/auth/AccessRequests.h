#pragma once

#include <json/value.h>

#include <cstdint>
#include <optional>
#include <string>

#include "host/config/Role.h"

namespace vms::host {

/// The JSON object of a request to the access API, read strictly: what is wrong is said, members
/// that nobody reads are wrong. Thread-bound.
class AccessBody {
public:
    /// @param text the body
    explicit AccessBody(const std::string& text);

    bool Has(const char* key) const;
    /// Each says what is wrong and gives nothing when the member is there with another type; what
    /// is missing is wrong if it is needed.
    std::string Text(const char* key, bool isNeeded = true);
    Role RoleOf(const char* key);
    /// A whole number, or for times also an ISO 8601 text in UTC; `otherwise` when it is missing.
    int64_t Number(const char* key, int64_t otherwise, int64_t lowest, int64_t highest);
    int64_t Time(const char* key, int64_t otherwise);

    /// What is wrong, "" = nothing; also that there are members that have not been asked for.
    std::string Problem();

    /// Notes a problem of the caller's, unless there is one or it is "".
    void Note(const std::string& problem);

private:
    const Json::Value& Take(const char* key);

    Json::Value value_{Json::objectValue};
    std::string problem_;
    Json::ArrayIndex taken_ = 0;
};

}  // namespace vms::host
