#include "drivers/mediafile/device/MediaFileDevice.h"

namespace vms::mediafile {

std::shared_ptr<PtzHead> MediaFileDevice::Head(int channel) {
    if (!index_->HasChannel(channel))
        return nullptr;
    MutexLock lock(mutex_);
    std::shared_ptr<PtzHead>& head = heads_[channel];
    if (head == nullptr)
        head = std::make_shared<PtzHead>();
    return head;
}

int MediaFileDevice::PtzGetCapability(__tagTvPtzCapability* capability) {
    *capability = {};
    return 0;
}

int MediaFileDevice::PtzControl(__tagTvPtzParam* param) {
    const auto head = Head(param->channel);
    return head == nullptr ? -1 : head->Control(*param);
}

int MediaFileDevice::PtzGetSpeed(int channel) {
    const auto head = Head(channel);
    return head == nullptr ? -1 : head->Speed();
}

int MediaFileDevice::PtzSetSpeed(int channel, int speed) {
    const auto head = Head(channel);
    return head == nullptr ? -1 : head->SetSpeed(speed);
}

int MediaFileDevice::PtzGetPreset(int channel, int* auto3DEnable, int* auto3DStatus,
                                  std::list<__tagTvPtzPresetParam>* presets) {
    const auto head = Head(channel);
    if (head == nullptr)
        return -1;
    *auto3DEnable = *auto3DStatus = 0;
    presets->splice(presets->end(), head->Presets());
    return 0;
}

int MediaFileDevice::PtzAddPreset(int channel, __tagTvPtzPresetParam* preset) {
    const auto head = Head(channel);
    return head == nullptr ? -1 : head->AddPreset(*preset);
}

int MediaFileDevice::PtzDelPreset(int channel, __tagTvPtzPresetParam* preset) {
    const auto head = Head(channel);
    return head == nullptr ? -1 : head->DelPreset(preset->presetIdx);
}

int MediaFileDevice::PtzCallPreset(int channel, __tagTvPtzPresetParam* preset) {
    const auto head = Head(channel);
    return head == nullptr ? -1 : head->CallPreset(preset->presetIdx, preset->speed);
}

int MediaFileDevice::PtzGetCruise(int channel, int cruiseIdx, __tagTvPtzCruiseParam* cruise) {
    const auto head = Head(channel);
    return head == nullptr ? -1 : head->GetCruise(cruiseIdx, *cruise);
}

int MediaFileDevice::PtzAddCruise(int channel, __tagTvPtzCruiseParam* cruise) {
    const auto head = Head(channel);
    return head == nullptr ? -1 : head->AddCruise(*cruise);
}

int MediaFileDevice::PtzDelCruise(int channel, int cruiseIdx) {
    const auto head = Head(channel);
    return head == nullptr ? -1 : head->DelCruise(cruiseIdx);
}

int MediaFileDevice::PtzStartCruise(int channel, int cruiseIdx) {
    const auto head = Head(channel);
    return head == nullptr ? -1 : head->StartCruise(cruiseIdx);
}

int MediaFileDevice::PtzStopCruise(int channel, int cruiseIdx) {
    const auto head = Head(channel);
    return head == nullptr ? -1 : head->StopCruise(cruiseIdx);
}

}  // namespace vms::mediafile
