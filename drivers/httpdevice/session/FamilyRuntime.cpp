#include "drivers/httpdevice/session/FamilyRuntime.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "drivers/httpdevice/session/DeviceConnection.h"

namespace vms::httpdevice {
namespace {

constexpr size_t kJobThreads = 2;
constexpr size_t kLoginThreads = 2;
constexpr std::chrono::milliseconds kPollTime{5};
constexpr std::chrono::milliseconds kLogoutTime{1000};

}  // namespace

FamilyRuntime::FamilyRuntime(const FamilySettings& settings)
    : settings_(settings), reactor_(settings), jobs_(kJobThreads), logins_(kLoginThreads) {}

bool FamilyRuntime::ShutDown(std::chrono::milliseconds sourceTime) {
    cancelled_ = true;
    const bool closed = CloseSources(sourceTime);
    LogOutAll();
    reactor_.WaitIdle(kLogoutTime);
    jobs_.Stop();
    logins_.Stop();
    reactor_.Stop();
    return closed;
}

bool FamilyRuntime::CloseSources(std::chrono::milliseconds time) {
    const auto deadline = std::chrono::steady_clock::now() + time;
    while (!AllClosed()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(kPollTime);
    }
    return true;
}

bool FamilyRuntime::AllClosed() {
    MutexLock lock(mutex_);
    bool closed = true;
    for (Closable* source : sources_) {
        source->BeginClose();
        closed = source->IsClosed() && closed;
    }
    return closed;
}

void FamilyRuntime::LogOutAll() {
    std::vector<std::weak_ptr<DeviceConnection>> connections;
    {
        MutexLock lock(mutex_);
        connections.swap(connections_);
    }
    for (const auto& entry : connections) {
        if (const auto connection = entry.lock())
            connection->Close();
    }
}

void FamilyRuntime::AddConnection(std::weak_ptr<DeviceConnection> connection) {
    MutexLock lock(mutex_);
    std::erase_if(connections_, [](const auto& entry) { return entry.expired(); });
    connections_.push_back(std::move(connection));
}

void FamilyRuntime::Add(Closable* source) {
    MutexLock lock(mutex_);
    sources_.push_back(source);
}

void FamilyRuntime::Remove(Closable* source) {
    MutexLock lock(mutex_);
    std::erase(sources_, source);
}

bool FamilyRuntime::KeepSession(const DeviceAddress& device, const std::string& token,
                                std::shared_ptr<SyncGroup> group) {
    MutexLock lock(mutex_);
    return sessions_.try_emplace({device.Label(), token}, std::move(group)).second;
}

void FamilyRuntime::ForgetSession(const DeviceAddress& device, const std::string& token) {
    MutexLock lock(mutex_);
    sessions_.erase({device.Label(), token});
}

std::shared_ptr<SyncGroup> FamilyRuntime::FindSession(const DeviceAddress& device,
                                                      const std::string& token) {
    MutexLock lock(mutex_);
    const auto found = sessions_.find({device.Label(), token});
    return found == sessions_.end() ? nullptr : found->second;
}

}  // namespace vms::httpdevice
