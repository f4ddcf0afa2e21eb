#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "videodevice/ISyncPlaybackServer.h"
#include "videodevice/streams/DeferredDestruction.h"
#include "videodevice/streams/StreamInfo.h"

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

    /// While one lives, its thread may be retiring a stream that no table and no list holds. For
    /// threads that the module does not know, receive threads: made before the stream is taken
    /// out of its table.
    class Passage {
    public:
        explicit Passage(Retirement& retirement) : retirement_(retirement) {
            ++retirement_.passages_;
        }
        ~Passage() { --retirement_.passages_; }
        Passage(const Passage&) = delete;
        Passage& operator=(const Passage&) = delete;

    private:
        Retirement& retirement_;
    };

    /// For the module's end, when the tables are empty: sweeps once more and drops the rest, closed
    /// or not. Waits for passages and for whoever still holds a stream.
    void Clear();

private:
    void SweepStreams(DeferredDestruction<StreamInfo>& streams);

    const std::function<void(const std::string& key)> forgetKeyFrame_;

    // Each is guarded by a lock of its own.
    using Streams = DeferredDestruction<StreamInfo>;
    using Faces = DeferredDestruction<IFaceFrameServer>;
    using Sessions = DeferredDestruction<ISyncPlaybackServer>;
    Streams retiredStreams_{Streams::AfterDrop::kRestart};
    Faces retiredFaceServers_{Faces::AfterDrop::kRestart};
    Streams retiredSyncStreams_{Streams::AfterDrop::kNext};
    Sessions retiredSyncServers_{Sessions::AfterDrop::kNext};

    std::atomic<int> passages_{0};
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
