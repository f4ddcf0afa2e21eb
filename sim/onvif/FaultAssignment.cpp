#include "sim/onvif/FaultAssignment.h"

#include <charconv>
#include <stdexcept>
#include <utility>

namespace vms::sim {

namespace {

struct Range {
    size_t first;
    size_t last;
};

size_t ReadIndex(std::string_view text, size_t count) {
    size_t index = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), index);
    if (error != std::errc() || end != text.data() + text.size())
        throw std::invalid_argument("not a camera: '" + std::string(text) + "'");
    if (index >= count)
        throw std::invalid_argument("there is no camera " + std::string(text));
    return index;
}

Range ReadRange(std::string_view text, size_t count) {
    if (text == "*" && count > 0)
        return {0, count - 1};
    const size_t dash = text.find('-');
    const size_t first = ReadIndex(text.substr(0, dash), count);
    if (dash == std::string_view::npos)
        return {first, first};
    const size_t last = ReadIndex(text.substr(dash + 1), count);
    if (last < first)
        throw std::invalid_argument("empty range of cameras: " + std::string(text));
    return {first, last};
}

}  // namespace

void AssignFault(const std::string& text, std::vector<CameraConfig>& cameras) {
    const size_t colon = text.find(':');
    if (colon == std::string::npos)
        throw std::invalid_argument("fault without cameras: " + text);
    const Range range = ReadRange(std::string_view(text).substr(0, colon), cameras.size());
    const FaultRule rule = ParseFaultRule(std::string_view(text).substr(colon + 1));
    for (size_t i = range.first; i <= range.last; ++i)
        cameras[i].faults.Add(rule);
}

}  // namespace vms::sim
