#include "host/http/HttpText.h"

#include <algorithm>

namespace vms::host {

std::string LowerCase(std::string_view text) {
    std::string lower(text);
    for (char& letter : lower)
        letter = LowerCase(letter);
    return lower;
}

bool SameLetters(std::string_view one, std::string_view other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](char a, char b) { return LowerCase(a) == LowerCase(b); });
}

std::string ValueIn(const std::map<std::string, std::string>& query, const std::string& name) {
    const auto found = query.find(name);
    return found == query.end() ? std::string() : found->second;
}

}  // namespace vms::host
