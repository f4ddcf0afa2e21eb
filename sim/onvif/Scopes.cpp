#include "sim/onvif/Scopes.h"

#include <cctype>

namespace vms::sim {

std::string PercentEncode(std::string_view text) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (std::isalnum(byte) != 0 || std::string_view("-._~").find(c) != std::string_view::npos)
            out += c;
        else
            out.append({'%', kDigits[byte >> 4], kDigits[byte & 15]});
    }
    return out;
}

namespace {

std::string NameScope(const Camera& camera) {
    const std::string& name = camera.config().name;
    return camera.faults().Has(Fault::kDiscoveryPlainName) ? name : PercentEncode(name);
}

}  // namespace

std::vector<std::string> ScopesOf(const Camera& camera) {
    const std::string base = "onvif://www.onvif.org/";
    std::vector<std::string> scopes = {base + "Profile/Streaming", base + "type/video_encoder"};
    if (!camera.faults().Has(Fault::kDiscoveryNoName))
        scopes.push_back(base + "name/" + NameScope(camera));
    scopes.push_back(base + "hardware/" + PercentEncode(camera.config().hardware));
    scopes.push_back(base + "location/" + PercentEncode(camera.config().location));
    return scopes;
}

}  // namespace vms::sim
