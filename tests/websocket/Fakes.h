#pragma once

#include <string>
#include <vector>

#include "platform/ILogHandler.h"
#include "platform/IWebSocketClient.h"
#include "platform/Mutex.h"
#include "videodevice/IStreamCallback.h"

namespace vms::test {

/// What CreateWebSocketClient gives in this program. kReal = the platform's.
enum class ClientKind { kReal, kFake, kNone };
void GiveClients(ClientKind kind);

/// What the fake clients were asked, in order; also what is logged: one story. Thread-safe.
class Journal final : public ILogHandler {
public:
    void SetLevel(int) override {}
    void Log(int level, const char* function, const char* format, ...) override
        __attribute__((format(printf, 4, 5)));
    void Add(const std::string& line) VMS_EXCLUDES(mutex_);
    /// The lines since the last call.
    std::vector<std::string> Take() VMS_EXCLUDES(mutex_);

private:
    Mutex mutex_;
    std::vector<std::string> lines_ VMS_GUARDED_BY(mutex_);
};

Journal& TheJournal();

/// A sink that keeps what it is given. Thread-safe.
class FakeSink final : public IStreamCallback {
public:
    int SteramCallback(std::string key, char* data, int length) override;
    int MsgCallback(std::string key, const char* message) override;
    void UpdateKeyFrame(std::string, char*, int) override {}
    int QueryDataCountToSend(std::string) override { return -1; }

    struct Message {
        std::string key;
        const char* text;
    };
    std::vector<std::string> Units() VMS_EXCLUDES(mutex_);
    std::vector<Message> Messages() VMS_EXCLUDES(mutex_);
    std::string LastKey() VMS_EXCLUDES(mutex_);

private:
    Mutex mutex_;
    std::string lastKey_ VMS_GUARDED_BY(mutex_);
    std::vector<std::string> units_ VMS_GUARDED_BY(mutex_);
    std::vector<Message> messages_ VMS_GUARDED_BY(mutex_);
};

/// Little-endian bytes for hand-made headers.
void Put(std::string& bytes, size_t offset, uint64_t value, int width);
uint64_t Get(const std::string& bytes, size_t offset, int width);

}  // namespace vms::test
