#pragma once

#include <string>

class IStreamCallback;

/// A source of recorded media: playback, download, or a channel of a synchronous session. Owned by
/// its StreamInfo. Called by bus, stream-server, timer and receive threads, possibly at once; no
/// operation may call the sink or wait for a thread that may be inside it. Times are seconds since
/// the Unix epoch, UTC. Slot order is part of the contract.
class IPlaybackStreamServer {
public:
    virtual ~IPlaybackStreamServer() = default;

    /// Starts, or starts anew, to play a range; units arrive at `sink` under `key`.
    /// @param streamNo,recordType,seekTime as the player's request gave them; 0 = not given
    /// @param firstStart false when this source has played a range before
    virtual void StartPlayback(std::string key, int channel, int beginTime, int endTime,
                               int streamNo, int recordType, int seekTime, IStreamCallback* sink,
                               bool firstStart) = 0;

    /// Starts to deliver a range as fast as the player takes it.
    virtual void StartDownload(std::string key, int channel, int beginTime, int endTime,
                               IStreamCallback* sink) = 0;

    /// Stops. @param key may be empty: this source's stream
    virtual void StopPlayback(std::string key) = 0;

    /// Key under which players find the stream; empty: the module makes one.
    virtual std::string GetStreamUri() = 0;

    /// Begins to close; repeated calls are harmless.
    virtual void RequestStopGetPlaybackStream() = 0;

    /// True once closed: no thread of the source touches the sink any more.
    virtual bool GetCloseGetStreamStatus() = 0;

    virtual int Pause(std::string key) = 0;
    virtual int Resume(std::string key) = 0;
    /// @param speed as the device family defines it
    virtual int SetSpeed(std::string key, int speed) = 0;
    /// @param position s since the Unix epoch, UTC
    virtual int Seek(std::string key, int position) = 0;
};
