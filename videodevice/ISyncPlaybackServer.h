#pragma once

#include <list>
#include <string>

class IStreamCallback;

/// A session that plays several channels of a recorder in lockstep. Shared by the module's tables;
/// called by bus, stream-server and timer threads, possibly at once. int results: >= 0 is success.
/// Times are seconds since the Unix epoch, UTC. Slot order is part of the contract.
class ISyncPlaybackServer {
public:
    virtual ~ISyncPlaybackServer() = default;

    /// @param id session identifier, never empty. @param sink not owned, outlives the session
    virtual int Create(const char* id, int beginTime, int endTime, int seekTime, int recordType,
                       int streamNo, int speed, IStreamCallback* sink) = 0;
    virtual int AddChannels(std::list<int>& channels) = 0;
    virtual int DelChannels(std::list<int>& channels) = 0;
    /// Final release once the session has closed.
    virtual void Destroy() = 0;
    virtual int Start() = 0;
    virtual int Stop() = 0;
    virtual int Seek(int position) = 0;
    virtual int SetSpeed(int speed) = 0;
    virtual int Pause() = 0;
    virtual int Resume() = 0;
    /// Token with which channel sources are created; empty while there is none.
    virtual std::string GetToken() = 0;
    /// Begins to close; repeated calls are harmless.
    virtual void RequestStopGetPlaybackStream() = 0;
    /// True once closed.
    virtual bool GetCloseGetStreamStatus() = 0;
};
