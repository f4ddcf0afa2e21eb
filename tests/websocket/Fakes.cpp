#include "tests/websocket/Fakes.h"

#include <dlfcn.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace vms::test {
namespace {

std::atomic<ClientKind> kind{ClientKind::kFake};

class FakeClient final : public IWebSocketClient {
public:
    void Release() override {
        TheJournal().Add("client: release");
        delete this;
    }
    bool Connect(const char* host, int port, const char* path, const char* protocol, int timeoutMs,
                 bool secure) override {
        TheJournal().Add("client: connect " + std::string(host) + " " + std::to_string(port) +
                         " \"" + path + "\" " + protocol + " " + std::to_string(timeoutMs) +
                         (secure ? " secure" : ""));
        return true;
    }
    bool Send(const char* text, int length) override {
        TheJournal().Add("client: send " + std::string(text, static_cast<size_t>(length)));
        return true;
    }
    void Stop() override { stopped_ = true; }
    long long GetHandle() override { return 1; }
    bool GetCloseStatus() override { return stopped_; }
    void SetEventHandle(INetEventHandle* handler) override {
        TheJournal().Add(handler != nullptr ? "client: handler" : "client: no handler");
    }
    bool SendBinary(const char*, int) override { return false; }

private:
    bool stopped_ = false;
};

}  // namespace

void GiveClients(ClientKind which) {
    kind = which;
}

Journal& TheJournal() {
    static Journal journal;
    return journal;
}

void Journal::Log(int level, const char* function, const char* format, ...) {
    char text[2048];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    Add(std::to_string(level) + " " + function + ": " + text);
}

void Journal::Add(const std::string& line) {
    MutexLock lock(mutex_);
    lines_.push_back(line);
}

std::vector<std::string> Journal::Take() {
    MutexLock lock(mutex_);
    return std::exchange(lines_, {});
}

int FakeSink::SteramCallback(std::string key, char* data, int length) {
    MutexLock lock(mutex_);
    lastKey_ = std::move(key);
    units_.emplace_back(data, static_cast<size_t>(length));
    return 0;
}

int FakeSink::MsgCallback(std::string key, const char* message) {
    MutexLock lock(mutex_);
    messages_.push_back({std::move(key), message});
    return 0;
}

std::vector<std::string> FakeSink::Units() {
    MutexLock lock(mutex_);
    return units_;
}

std::vector<FakeSink::Message> FakeSink::Messages() {
    MutexLock lock(mutex_);
    return messages_;
}

std::string FakeSink::LastKey() {
    MutexLock lock(mutex_);
    return lastKey_;
}

void Put(std::string& bytes, size_t offset, uint64_t value, int width) {
    for (int i = 0; i < width; ++i)
        bytes[offset + static_cast<size_t>(i)] = static_cast<char>(value >> (8 * i));
}

uint64_t Get(const std::string& bytes, size_t offset, int width) {
    uint64_t value = 0;
    for (int i = width - 1; i >= 0; --i)
        value = value << 8 | static_cast<unsigned char>(bytes[offset + static_cast<size_t>(i)]);
    return value;
}

}  // namespace vms::test

/// Takes the place of the platform's function for the code under test.
IWebSocketClient* CreateWebSocketClient() {
    using namespace vms::test;
    if (kind == ClientKind::kNone)
        return nullptr;
    if (kind == ClientKind::kFake)
        return new FakeClient;
    static const auto real =
        reinterpret_cast<IWebSocketClient* (*)()>(dlsym(RTLD_NEXT, "_Z21CreateWebSocketClientv"));
    return real();
}
