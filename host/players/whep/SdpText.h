#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vms::host {

/// A line of SDP, "t=value". Refers to the text it was read from.
struct SdpLine {
    char type = 0;
    std::string_view value;
};

/// One section of media, or what stands before the first. Refers to the text it was read from.
struct SdpSection {
    std::vector<SdpLine> lines;  ///< the first one is the "m" of a section of media

    /// The value of "a=name:value", or of "a=name" an empty one, of the first of that name.
    /// @return false when there is none
    bool Attribute(std::string_view name, std::string_view& value) const;
    bool HasAttribute(std::string_view name) const;

    /// All values of that name.
    std::vector<std::string_view> Attributes(std::string_view name) const;
};

/// Splits SDP (RFC 8866) into lines and sections. Lines end with LF or CRLF. Re-entrant.
/// @param sections the first is what stands before all media; refers to `text`
/// @return false when it is none, or has more than `kMostSdpLines` lines
bool ReadSdp(std::string_view text, std::vector<SdpSection>& sections);

inline constexpr size_t kMostSdpLines = 2000;

/// Splits at blanks, of which there may be several.
std::vector<std::string_view> Words(std::string_view text);

/// A decimal number from 0 to `most`. @return -1 when it is none
int ReadSmallNumber(std::string_view text, int most);

}  // namespace vms::host
