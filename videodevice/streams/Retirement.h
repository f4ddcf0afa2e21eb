#pragma once

#include <functional>
#include <memory>
#include <string>

#include "videodevice/ISyncPlaybackServer.h"
#include "videodevice/StreamInfo.h"
#include "videodevice/streams/DeferredDestruction.h"

namespace vms {

/// Takes sources out of service: stops them at once and destroys them when they have closed, on the
/// sweeps of the module's timer. Thread-safe. Retire what has been taken out of its table, with no
/// lock held; exceptions of sources end here.
class Retirement {
public:
    using Stream = std::shared_ptr<StreamInfo>;
    using Face = std::shared_ptr<IFaceFrameServer>;
    using Session = std::shared_ptr<ISyncPlaybackServer>;

    /// @param forgetKeyFrame called with the key of every stream that a sweep has destroyed
    explicit Retirement(std::function<void(const std::string& key)> forgetKeyFrame)
        : forgetKeyFrame_(std::move(forgetKeyFrame)) {}

    /// A live, playback or download stream. Null is nothing to do, as for the following.
    void RetireStream(const Stream& stream);
    /// A channel of a synchronous session.
    void RetireChannel(const Stream& stream);
    void RetireSession(const Session& session);
    /// A face source that has been stopped already. May be called with the stream table locked.
    void KeepUntilClosed(Face face);

    // Sweeps, one pass each.
    void DestroyPlayConn();
    void DestroyFaceServers();
    void DestroySyncPlaybackConn();
    void DestroySyncPlaybackServer();
    void SweepAll();

    /// Drops everything at once.
    void Clear();

private:
    void SweepStreams(DeferredDestruction<StreamInfo>& streams);

    const std::function<void(const std::string& key)> forgetKeyFrame_;

    // Each is guarded by a lock of its own.
    DeferredDestruction<StreamInfo> retiredStreams_;
    DeferredDestruction<IFaceFrameServer> retiredFaceServers_;
    DeferredDestruction<StreamInfo> retiredSyncStreams_;
    DeferredDestruction<ISyncPlaybackServer> retiredSyncServers_;
};

/// Retires a stream whose making fails half-way: its sources may be running already.
class StreamInTheMaking {
public:
    StreamInTheMaking(Retirement& retirement, std::shared_ptr<StreamInfo> stream)
        : retirement_(retirement), stream_(std::move(stream)) {}
    ~StreamInTheMaking() { retirement_.RetireStream(stream_); }
    StreamInTheMaking(const StreamInTheMaking&) = delete;
    StreamInTheMaking& operator=(const StreamInTheMaking&) = delete;

    void Done() { stream_ = nullptr; }

private:
    Retirement& retirement_;
    std::shared_ptr<StreamInfo> stream_;
};

}  // namespace vms
