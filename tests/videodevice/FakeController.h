#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "module/CommandRecord.h"
#include "platform/IStreamConnectionController.h"
#include "platform/Mutex.h"

namespace vms::test {

/// A stream server without sockets: notes what was sent to whom. Thread-safe.
class FakeController final : public IStreamConnectionController {
public:
    int SendData(long long connectionId, const char* data, int length, bool isPlayback) override;
    int SendCommand(long long connectionId, __tagTvCommand* command) override;
    void CloseConnection(long long) override {}
    void GetServerAddress(std::string& host, int& port) override;
    int QueryDataCount(long long connectionId) override;

    /// Sends to this connection give `result` from now on.
    void Answer(long long connectionId, int result);
    /// Runs in SendData, on the sender's thread, with no lock held; may throw.
    void OnSend(std::function<void(long long connectionId)> hook);

    /// "connection:bytes" since the last call, "(playback)" added for recorded media.
    std::vector<std::string> Take();
    std::vector<__tagTvCommand> TakeCommands();

    /// Switch off to run for long without remembering everything.
    std::atomic<bool> remember{true};

private:
    Mutex mutex_;
    std::map<long long, int> answers_ VMS_GUARDED_BY(mutex_);
    std::function<void(long long)> onSend_ VMS_GUARDED_BY(mutex_);
    std::vector<std::string> sent_ VMS_GUARDED_BY(mutex_);
    std::vector<__tagTvCommand> commands_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::test
