#include "host/net/Bursts.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "host/net/Connection.h"
#include "host/net/SendRing.h"
#include "platform/ReusableBuffer.h"

namespace vms::host {
namespace {

constexpr size_t kBatch = SendRing::kBatch;

/// Sees to one client. Without memory it goes without, so that the claims on others are given back.
template <class Step>
void WithMemory(Step step) try {
    step();
} catch (const std::bad_alloc&) {
}

}  // namespace

struct Bursts::Tools {
    Tools() {
        claimed.reserve(kBatch);
        sockets.reserve(kBatch);
        taken.reserve(kBatch);
    }

    /// The chunk in one piece, which costs each socket less than two.
    std::string_view Joined(const Chunk& chunk) {
        char* const bytes = memory.Reserve(chunk.Size());
        std::memcpy(bytes, chunk.prefix.bytes.data(), chunk.prefix.size);
        std::memcpy(bytes + chunk.prefix.size, chunk.body.data(), chunk.body.size());
        return {bytes, chunk.Size()};
    }

    SendRing ring{true};
    ReusableBuffer memory;
    // Never more than kBatch entries, so that nothing is allocated while outputs are claimed.
    std::vector<Connection*> claimed;
    std::vector<int> sockets;    ///< of the claimed
    std::vector<ssize_t> taken;  ///< by the claimed
};

Bursts::Bursts() = default;

Bursts::~Bursts() = default;

void Bursts::Send(std::span<const std::shared_ptr<Connection>> clients, const Chunk& chunk) {
    if (clients.size() == 1) {
        clients.front()->SendLive(chunk);
        return;
    }
    std::unique_ptr<Tools> tools = Take();
    const std::string_view bytes = chunk.prefix.size == 0 ? chunk.body : tools->Joined(chunk);
    for (size_t at = 0; at < clients.size(); at += kBatch)
        SendSome(*tools, clients.subspan(at, std::min(kBatch, clients.size() - at)), chunk, bytes);
    tools->memory.EndUse(bytes.size());
    GiveBack(std::move(tools));
}

void Bursts::SendSome(Tools& tools, std::span<const std::shared_ptr<Connection>> clients,
                      const Chunk& chunk, std::string_view bytes) {
    tools.claimed.clear();
    tools.sockets.clear();
    for (const std::shared_ptr<Connection>& client : clients) {
        WithMemory([&] {
            const int socket = client->ClaimFor(chunk);
            if (socket < 0)
                return;
            tools.claimed.push_back(client.get());
            tools.sockets.push_back(socket);
        });
    }
    tools.ring.Send(tools.sockets, bytes, tools.taken);
    for (size_t i = 0; i < tools.claimed.size(); ++i)
        WithMemory([&] { tools.claimed[i]->Release(chunk, tools.taken[i]); });
}

std::unique_ptr<Bursts::Tools> Bursts::Take() {
    MutexLock lock(mutex_);
    if (idle_.empty()) {
        lock.Unlock();
        return std::make_unique<Tools>();
    }
    std::unique_ptr<Tools> tools = std::move(idle_.back());
    idle_.pop_back();
    return tools;
}

void Bursts::GiveBack(std::unique_ptr<Tools> tools) {
    MutexLock lock(mutex_);
    idle_.push_back(std::move(tools));
}

}  // namespace vms::host
