#pragma once

#include <map>
#include <string>
#include <string_view>

namespace vms::host {

/// In ASCII, whatever the locale.
inline char LowerCase(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

std::string LowerCase(std::string_view text);

/// Whether two texts are the same but for the case of their ASCII letters.
bool SameLetters(std::string_view one, std::string_view other);

/// One value of a query, "" = it is not there.
std::string ValueIn(const std::map<std::string, std::string>& query, const std::string& name);

}  // namespace vms::host
