#include "host/stream/FanOut.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "host/stream/ConnectionTable.h"
#include "host/stream/PlayerConnection.h"
#include "host/stream/SendRing.h"
#include "platform/ReusableBuffer.h"

namespace vms {
namespace {

constexpr size_t kBatch = SendRing::kBatch;

/// Sees to one player. Without memory it fails, so that the claims on the others are given back.
template <class Step>
bool WithMemory(Step step) try {
    return step();
} catch (const std::bad_alloc&) {
    return false;
}

}  // namespace

struct FanOut::Burst {
    Burst() {
        players.reserve(kBatch);
        alive.reserve(kBatch);
        claimed.reserve(kBatch);
        sockets.reserve(kBatch);
        taken.reserve(kBatch);
    }

    std::string_view Frame(const FrameHeader& header, std::string_view unit) {
        const size_t size = header.size + unit.size();
        char* const bytes = memory.Reserve(size);
        std::memcpy(bytes, header.bytes.data(), header.size);
        std::memcpy(bytes + header.size, unit.data(), unit.size());
        return {bytes, size};
    }

    SendRing ring{true};
    ReusableBuffer memory;
    // Never more than kBatch entries, so that nothing is allocated while outputs are claimed.
    std::vector<std::shared_ptr<PlayerConnection>> players;  ///< as asked for, null = gone
    std::vector<char> alive;                                 ///< per player
    std::vector<size_t> claimed;                             ///< indices of players
    std::vector<int> sockets;                                ///< of the claimed
    std::vector<ssize_t> taken;                              ///< by the claimed
};

FanOut::FanOut(const ConnectionTable& players) : players_(players) {}

FanOut::~FanOut() = default;

int FanOut::Send(const long long* ids, size_t count, std::string_view unit, bool isPlayback,
                 std::vector<long long>& failed) {
    std::unique_ptr<Burst> burst = Take();
    const FrameHeader header = BinaryFrame(unit.size());
    const Outgoing outgoing{unit, KindOfUnit(unit.data(), unit.size()), isPlayback, header,
                            burst->Frame(header, unit)};
    bool lastAlive = false;
    for (size_t at = 0; at < count; at += kBatch) {
        const size_t some = std::min(kBatch, count - at);
        SendSome(*burst, ids + at, some, outgoing);
        for (size_t i = 0; i < some; ++i) {
            if (!burst->alive[i])
                failed.push_back(ids[at + i]);
        }
        lastAlive = burst->alive.back();
        burst->players.clear();
    }
    burst->memory.EndUse(outgoing.frame.size());
    GiveBack(std::move(burst));
    return lastAlive ? 0 : -1;
}

void FanOut::SendSome(Burst& burst, const long long* ids, size_t count,
                      const Outgoing& outgoing) const {
    players_.Find(ids, count, burst.players);
    burst.alive.assign(count, false);
    burst.claimed.clear();
    burst.sockets.clear();
    for (size_t i = 0; i < count; ++i) {
        if (burst.players[i] == nullptr)
            continue;
        PlayerConnection& player = *burst.players[i];
        int socket = -1;
        burst.alive[i] = WithMemory([&] {
            bool alive = false;
            socket = player.ClaimFor(outgoing.unit, outgoing.kind, outgoing.isPlayback, alive);
            return alive;
        });
        if (socket >= 0) {
            burst.claimed.push_back(i);
            burst.sockets.push_back(socket);
        }
    }
    burst.ring.Send(burst.sockets, outgoing.frame, burst.taken);
    for (size_t i = 0; i < burst.claimed.size(); ++i) {
        const size_t index = burst.claimed[i];
        PlayerConnection& player = *burst.players[index];
        burst.alive[index] = WithMemory(
            [&] { return player.Release(outgoing.header, outgoing.unit, burst.taken[i]); });
    }
}

std::unique_ptr<FanOut::Burst> FanOut::Take() {
    MutexLock lock(mutex_);
    if (idle_.empty()) {
        lock.Unlock();
        return std::make_unique<Burst>();
    }
    std::unique_ptr<Burst> burst = std::move(idle_.back());
    idle_.pop_back();
    return burst;
}

void FanOut::GiveBack(std::unique_ptr<Burst> burst) {
    MutexLock lock(mutex_);
    idle_.push_back(std::move(burst));
}

}  // namespace vms
