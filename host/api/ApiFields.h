#pragma once

#include <json/value.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "host/http/HttpExchange.h"

namespace vms::host {

/// The named values of a request, from its query or its JSON body, read strictly: what is missing,
/// of another type or out of range throws ApiError 400 that says so, and so does a text with a
/// control character, one that is no UTF-8, or one that is too long.
class ApiFields {
public:
    static constexpr size_t kMostValues = 10'000;  ///< JSON values in a body
    static constexpr size_t kLongestText = 1024;   ///< bytes of a text, unless said otherwise
    static constexpr size_t kLongestId = 128;      ///< bytes of a device's identifier

    /// Numbers and flags of a query are texts; it may have names that nobody reads.
    static ApiFields OfQuery(const HttpRequest& request);

    /// @param known the members there may be
    /// @throws ApiError 400 when the body is no JSON object, or has other members
    static ApiFields OfBody(const HttpRequest& request, std::initializer_list<const char*> known);

    /// An object within a body, in the same way. @param place what errors call it, such as "stops"
    static ApiFields OfObject(const Json::Value& value, const std::string& place,
                              std::initializer_list<const char*> known);

    bool Has(const char* name) const { return values_.isMember(name); }
    const Json::Value& Values() const { return values_; }

    std::string Text(const char* name, size_t longest = kLongestText) const;
    std::string TextOr(const char* name, const std::string& otherwise,
                       size_t longest = kLongestText) const;

    /// A device's identifier: not empty.
    std::string Device(const char* name = "device") const;

    int Integer(const char* name, int lowest, int highest) const;
    int IntegerOr(const char* name, int otherwise, int lowest, int highest) const;

    /// A channel's number, from 0; 0 when there is none.
    int Channel() const;

    bool BooleanOr(const char* name, bool otherwise) const;

    /// @return seconds since the epoch
    int64_t Time(const char* name) const;
    std::optional<int64_t> TimeIfThere(const char* name) const;

    /// Elements of an array; none when there is no such member.
    std::vector<ApiFields> Objects(const char* name, size_t most,
                                   std::initializer_list<const char*> known) const;

    [[noreturn]] void Fail(const char* name, const std::string& problem) const;

private:
    ApiFields(Json::Value values, std::string place, bool isQuery)
        : values_(std::move(values)), place_(std::move(place)), isQuery_(isQuery) {}

    void RequireKnown(std::initializer_list<const char*> known) const;
    const Json::Value& At(const char* name) const;

    Json::Value values_;  ///< an object
    std::string place_;   ///< "" = the request itself
    bool isQuery_;
};

/// Throws ApiError 400 unless a text is UTF-8, at most so long, and without control characters.
/// @param what names it in the error
void CheckText(const std::string& text, const std::string& what, size_t longest);

}  // namespace vms::host
