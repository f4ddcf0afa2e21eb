#pragma once

#include <memory>
#include <span>
#include <vector>

#include "host/net/Chunk.h"
#include "platform/Mutex.h"

namespace vms::host {

class Connection;

/// Sends one chunk of a live stream to many clients in bursts: their outputs are claimed, the chunk
/// goes to all their sockets in few system calls, and the outputs are given back. Thread-safe; no
/// call waits for a client.
class Bursts {
public:
    Bursts();
    ~Bursts();
    Bursts(const Bursts&) = delete;
    Bursts& operator=(const Bursts&) = delete;

    /// @param clients each once
    void Send(std::span<const std::shared_ptr<Connection>> clients, const Chunk& chunk)
        VMS_EXCLUDES(mutex_);

private:
    /// What one thread needs meanwhile; kept for the next chunk.
    struct Tools;

    std::unique_ptr<Tools> Take() VMS_EXCLUDES(mutex_);
    void GiveBack(std::unique_ptr<Tools> tools) VMS_EXCLUDES(mutex_);

    static void SendSome(Tools& tools, std::span<const std::shared_ptr<Connection>> clients,
                         const Chunk& chunk, std::string_view bytes);

    Mutex mutex_;
    std::vector<std::unique_ptr<Tools>> idle_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::host
