#include "sim/onvif/Camera.h"

#include <array>
#include <utility>

namespace vms::sim {

namespace {

struct Slot {
    const char* path;
    const char* name;
    ClipKind clip;
};

constexpr std::array<Slot, 3> kH264First = {{{"main", "mainStream", ClipKind::kH264Main},
                                             {"sub", "subStream", ClipKind::kH264Sub},
                                             {"third", "thirdStream", ClipKind::kH265Main}}};
constexpr std::array<Slot, 3> kH265First = {{{"main", "mainStream", ClipKind::kH265Main},
                                             {"sub", "subStream", ClipKind::kH264Sub},
                                             {"third", "thirdStream", ClipKind::kH264Main}}};

std::string RealPassword(const CameraConfig& config) {
    return config.faults.Has(Fault::kWrongPassword) ? config.password + "-changed"
                                                    : config.password;
}

XmlStyle StyleOf(const CameraConfig& config) {
    XmlStyle style = config.personality != nullptr ? config.personality->xml : XmlStyle();
    style.references = config.faults.Has(Fault::kReferences);
    return style;
}

}  // namespace

Camera::Camera(CameraConfig config)
    : config_(std::move(config)),
      realPassword_(RealPassword(config_)),
      style_(StyleOf(config_)),
      verifier_(config_.user, realPassword_) {
    if (const FaultRule* rule = config_.faults.Find(Fault::kProfiles))
        config_.profiles = static_cast<int>(rule->Number());
}

std::time_t Camera::Clock() const {
    const FaultRule* rule = faults().Find(Fault::kWrongClock);
    return std::time(nullptr) + (rule ? rule->Number() : 0);
}

std::string Camera::MediaPath() const {
    const FaultRule* rule = faults().Find(Fault::kMediaPath);
    return rule ? rule->value : kMediaPath;
}

std::string Camera::ProfileToken(int position) const {
    const FaultRule* rule = faults().Find(Fault::kToken);
    return (rule ? rule->value : personality().tokenPrefix) + std::to_string(position);
}

StreamProfile Camera::Profile(int position) const {
    const auto& slots = config_.mainIsH265 ? kH265First : kH264First;
    const Slot& slot = slots[static_cast<size_t>(position) % slots.size()];
    std::string name = slot.name;
    if (position >= static_cast<int>(slots.size()))
        name += '_' + std::to_string(position);
    return {ProfileToken(position), std::move(name), slot.path, slot.clip};
}

int Camera::FindProfile(const std::string& token) const {
    for (int i = 0; i < config_.profiles; ++i) {
        if (ProfileToken(i) == token)
            return i;
    }
    return -1;
}

std::string Camera::ServiceUrl(const std::string& host, const std::string& path) const {
    return "http://" + host + ':' + std::to_string(port_) + path;
}

std::string Camera::StreamUrl(const std::string& host, int profile) const {
    return "rtsp://" + host + ':' + std::to_string(rtspPort_) + "/cam" +
           std::to_string(config_.index) + '/' + Profile(profile).path;
}

}  // namespace vms::sim
