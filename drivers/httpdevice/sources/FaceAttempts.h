#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

#include "drivers/httpdevice/session/DeviceConnection.h"
#include "drivers/httpdevice/sources/FaceSource.h"
#include "platform/Mutex.h"
#include "websocket/TaveroFaceFrame_ws.h"

namespace vms::httpdevice {

/// The connections of a face source, one after the other. Each is made by a job of the family,
/// which may have to log in first; the clock of the family looks after it until packets come.
class FaceSource::Attempts final : public IStreamCallback,
                                   public std::enable_shared_from_this<FaceSource::Attempts> {
public:
    explicit Attempts(std::shared_ptr<DeviceConnection> device) : device_(std::move(device)) {}

    bool Start(std::string key, int channel, IStreamCallback* sink) VMS_EXCLUDES(mutex_);
    void Stop(bool tellDevice) VMS_EXCLUDES(mutex_);
    bool Closed() VMS_EXCLUDES(mutex_);
    std::string Key() VMS_EXCLUDES(mutex_);
    /// Ends the connection. When it returns, the sink is not called and will not be.
    void Shut() VMS_EXCLUDES(mutex_);

    int SteramCallback(std::string key, char* data, int length) override;
    int MsgCallback(std::string key, const char* message) override;
    void UpdateKeyFrame(std::string key, char* data, int length) override;
    int QueryDataCountToSend(std::string key) override;

private:
    using Connection = std::unique_ptr<TaveroFaceFrame_ws>;

    void ConnectIn(std::chrono::milliseconds delay) VMS_REQUIRES(mutex_);
    void Verify() VMS_EXCLUDES(mutex_);
    void Connect(bool ready) VMS_EXCLUDES(mutex_);
    bool Install(Connection fresh) VMS_EXCLUDES(mutex_);
    void LookIn() VMS_REQUIRES(mutex_);
    void Look() VMS_EXCLUDES(mutex_);
    void Retry() VMS_REQUIRES(mutex_);

    const std::shared_ptr<DeviceConnection> device_;
    std::atomic<IStreamCallback*> sink_{nullptr};
    std::atomic<bool> arrived_{false};  ///< packets have come, or their end

    Mutex mutex_;
    std::string key_ VMS_GUARDED_BY(mutex_);
    int channel_ VMS_GUARDED_BY(mutex_) = 0;
    bool stopped_ VMS_GUARDED_BY(mutex_) = false;
    int retries_ VMS_GUARDED_BY(mutex_) = 0;
    Connection connection_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::httpdevice
