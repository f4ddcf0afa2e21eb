#pragma once

#include <atomic>
#include <string>

#include "videodevice/IStreamCallback.h"

namespace vms::httpdevice {

/// Stands between a live source and its sink: passes everything on, and hands key frames over a
/// second time, to be kept for players that come later. Thread-safe.
class KeyFrameSink final : public IStreamCallback {
public:
    /// @param sink not owned; null = nobody listens. Set before the source starts
    void SetSink(IStreamCallback* sink) { sink_ = sink; }

    int SteramCallback(std::string key, char* data, int length) override;
    int MsgCallback(std::string key, const char* message) override;
    void UpdateKeyFrame(std::string key, char* data, int length) override;
    int QueryDataCountToSend(std::string key) override;

private:
    std::atomic<IStreamCallback*> sink_{nullptr};
};

}  // namespace vms::httpdevice
