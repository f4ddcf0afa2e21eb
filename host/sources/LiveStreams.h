#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/relay/RelayTable.h"
#include "host/sources/DeviceModules.h"
#include "host/sources/SourceProblem.h"
#include "host/sources/StreamAddress.h"
#include "host/stream/Lanes.h"
#include "platform/Mutex.h"

namespace vms::host {

class LiveStreams;

/// A live stream that somebody watches. It goes on as long as anybody shares this; whoever drops it
/// does not wait. Thread-safe.
class LiveShare {
public:
    ~LiveShare();
    LiveShare(const LiveShare&) = delete;
    LiveShare& operator=(const LiveShare&) = delete;

    Relay& Stream() const { return *relay_; }
    const StreamAddress& Address() const { return address_; }

private:
    friend class LiveStreams;
    LiveShare(LiveStreams& streams, StreamAddress address, std::shared_ptr<Relay> relay)
        : streams_(streams), address_(std::move(address)), relay_(std::move(relay)) {}

    LiveStreams& streams_;
    const StreamAddress address_;
    const std::shared_ptr<Relay> relay_;
};

/// The live streams by their addresses: each is asked of its module once, however many watch it and
/// by whatever way out. Thread-safe; only Close waits.
class LiveStreams {
public:
    /// The share, or null and what is wrong.
    using LiveDone = std::function<void(std::shared_ptr<LiveShare>, const SourceProblem&)>;

    /// As many streams by address at a time.
    static constexpr size_t kMost = 4096;
    /// As many may wait for one stream to open.
    static constexpr size_t kMostWaiting = 1024;

    /// All must outlive this object, and this object all shares.
    LiveStreams(DeviceModules& devices, RelayTable& relays, Lanes& lanes)
        : devices_(devices), relays_(relays), lanes_(lanes) {}

    /// Asks the module for the stream unless it is there already. A stream that has gone in the
    /// meantime is asked for again.
    /// @param done called once, on any thread, maybe inside the call; must not wait
    void Open(const StreamAddress& address, LiveDone done) VMS_EXCLUDES(mutex_);

    /// Ends the outlets of streams that their modules no longer have; to be called every few
    /// seconds.
    void Sweep() VMS_EXCLUDES(mutex_);

    /// Opens nothing from now on; returns when no module is being asked any more. What has been
    /// asked for still attaches, on the lanes.
    void Close() VMS_EXCLUDES(mutex_);

private:
    friend class LiveShare;

    struct Entry {
        std::weak_ptr<LiveShare> share;  ///< of a stream that is there
        std::vector<LiveDone> waiting;   ///< not empty: it is being opened
    };

    void Ask(const StreamAddress& address) VMS_EXCLUDES(mutex_);
    void OnKey(const StreamAddress& address, const std::string& key, const SourceProblem& problem)
        VMS_EXCLUDES(mutex_);
    void Attach(const StreamAddress& address, const std::string& key);
    void Settle(const StreamAddress& address, const std::shared_ptr<LiveShare>& share,
                const SourceProblem& problem) VMS_EXCLUDES(mutex_);
    void Check(const std::shared_ptr<LiveShare>& share) VMS_EXCLUDES(mutex_);
    void GiveBack(const StreamAddress& address, std::shared_ptr<Relay> relay) VMS_EXCLUDES(mutex_);
    void Post(Lanes::Task task);

    DeviceModules& devices_;
    RelayTable& relays_;
    Lanes& lanes_;
    Mutex mutex_;
    CondVar answered_;
    std::map<StreamAddress, Entry> entries_ VMS_GUARDED_BY(mutex_);
    size_t asking_ VMS_GUARDED_BY(mutex_) = 0;  ///< modules that have not answered
    bool closed_ VMS_GUARDED_BY(mutex_) = false;
};

}  // namespace vms::host
