#include "host/players/http/MediaTarget.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "host/http/HttpText.h"
#include "host/text/IsoTime.h"

namespace vms::host {
namespace {

constexpr double kSlowest = 0.25;
constexpr double kFastest = 16;
constexpr int kNarrowest = 16;  ///< pixels
constexpr int kWidest = 4096;

template <class Number>
std::optional<Number> NumberIn(const std::string& text) {
    Number number = 0;
    const char* const end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && last == end ? std::optional(number) : std::nullopt;
}

bool IsWhole(double number) {
    return std::abs(number - std::round(number)) < 0.01;
}

std::optional<double> ReadSpeed(const std::string& text) {
    if (text.empty())
        return 1;
    const auto speed = NumberIn<double>(text);
    if (!speed || !(*speed >= kSlowest && *speed <= kFastest) ||
        !IsWhole(std::max(*speed, 1 / *speed)))
        return std::nullopt;
    return *speed >= 1 ? std::round(*speed) : 1 / std::round(1 / *speed);
}

std::string Offered(const std::vector<std::string>& endings) {
    std::string text = "there is";
    for (size_t i = 0; i < endings.size(); ++i)
        text += (i == 0 ? " ." : i + 1 == endings.size() ? " and ." : ", .") + endings[i];
    return text;
}

}  // namespace

std::optional<MediaTarget> ReadMediaTarget(const HttpRequest& request,
                                           const std::vector<std::string>& endings,
                                           HttpResponse& failure) {
    if (request.rest.size() != 2) {
        failure = HttpFailure(404, "the address is DEVICE/CHANNEL." + endings.front());
        return std::nullopt;
    }
    const std::string& device = request.rest.front();
    const std::string& name = request.rest.back();
    const size_t dot = std::min(name.rfind('.'), name.size());
    MediaTarget target;
    target.ending = name.substr(std::min(dot + 1, name.size()));
    if (std::find(endings.begin(), endings.end(), target.ending) == endings.end()) {
        failure = HttpFailure(404, Offered(endings));
        return std::nullopt;
    }
    if (device.empty() || device.size() > kLongestDevice) {
        failure = HttpFailure(404, "there is no such device");
        return std::nullopt;
    }
    const std::string problem = ReadStreamAddress(device, name.substr(0, dot),
                                                  ValueIn(request.query, "stream"), target.stream);
    if (!problem.empty()) {
        failure = HttpFailure(400, problem);
        return std::nullopt;
    }
    return target;
}

std::optional<MediaRange> ReadMediaRange(const std::map<std::string, std::string>& query,
                                         std::string& problem) {
    const auto from = ParseTime(ValueIn(query, "from"));
    const auto to = ParseTime(ValueIn(query, "to"));
    const auto speed = ReadSpeed(ValueIn(query, "speed"));
    if (!from || !to || *from < 1)
        problem = "from and to must be times such as 2026-03-05T10:00:00Z, or seconds since 1970";
    else if (*to <= *from)
        problem = "to must be after from";
    else if (!speed)
        problem = "speed must be 1 to 16, or one part of 2 to 4";
    else
        return MediaRange{static_cast<int32_t>(*from), static_cast<int32_t>(*to), *speed};
    return std::nullopt;
}

std::optional<int> ReadWidth(const std::map<std::string, std::string>& query) {
    const auto found = query.find("width");
    if (found == query.end())
        return 0;
    const auto width = NumberIn<int>(found->second);
    return width && *width >= kNarrowest && *width <= kWidest ? width : std::nullopt;
}

int SourceSpeed(double speed) {
    return static_cast<int>(std::lround(speed >= 1 ? speed : -1 / speed));
}

}  // namespace vms::host
