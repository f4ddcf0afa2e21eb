#include "host/relay/ClientOutlet.h"

#include <utility>

#include "host/net/Connection.h"

namespace vms::host {

void ClientOutlet::Join(const std::shared_ptr<Connection>& client) {
    MutexLock lock(mutex_);
    client->BeginLive(group_.ForNewcomer(), hasKeyPictures_ && group_.Empty());
    clients_.push_back(client);
}

void ClientOutlet::Leave(const Connection& client) {
    MutexLock lock(mutex_);
    std::erase_if(clients_, [&](const auto& member) { return member.get() == &client; });
}

void ClientOutlet::Take(const MediaUnit& unit) {
    MutexLock lock(mutex_);
    ++takenUnits_;
    const std::optional<Chunk> chunk = Pack(unit);
    if (!chunk)
        return;
    const auto now = std::chrono::steady_clock::now();
    if (takenUnits_ == 1 && chunk->kind != UnitKind::kPicture)
        group_.OpenIfEmpty(now);  // what the relay greets its first client with
    hasKeyPictures_ = hasKeyPictures_ || chunk->kind == UnitKind::kKeyPicture;
    group_.Add(*chunk, chunk->kind, chunk->timestampMs, chunk->Size(), now);
    if (!clients_.empty())
        bursts_.Send(clients_, *chunk);
}

void ClientOutlet::Tell(const __tagTvCommand& message) {
    MutexLock lock(mutex_);
    for (const auto& client : clients_)
        TellClient(*client, message);
}

void ClientOutlet::End(const std::string& reason) {
    MutexLock lock(mutex_);
    for (const auto& client : clients_)
        client->AskToEnd(reason);
}

OutletCounts ClientOutlet::Counts() const {
    MutexLock lock(mutex_);
    return {clients_.size(), takenUnits_};
}

}  // namespace vms::host
