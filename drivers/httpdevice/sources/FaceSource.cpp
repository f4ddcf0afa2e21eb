#include "drivers/httpdevice/sources/FaceSource.h"

#include <utility>

#include "drivers/httpdevice/sources/FaceAttempts.h"

namespace vms::httpdevice {

FaceSource::FaceSource(std::shared_ptr<DeviceConnection> device)
    : device_(std::move(device)), attempts_(std::make_shared<Attempts>(device_)) {
    device_->Runtime()->Add(this);
}

FaceSource::~FaceSource() {
    device_->Runtime()->Remove(this);
    attempts_->Shut();
}

int FaceSource::StartFaceFrame(std::string key, int channel, IStreamCallback* sink) {
    return attempts_->Start(std::move(key), channel, sink) ? 0 : -1;
}

void FaceSource::StopFaceFrame(std::string /*key*/) {
    attempts_->Stop(true);
}

void FaceSource::RequestStopGetPreviewStream() {
    attempts_->Stop(false);
}

bool FaceSource::GetCloseGetStreamStatus() {
    return attempts_->Closed();
}

std::string FaceSource::GetStreamUri() {
    return attempts_->Key();
}

}  // namespace vms::httpdevice
