#include "host/relay/ClientOutlet.h"

#include <utility>

#include "host/net/Connection.h"

namespace vms::host {

void ClientOutlet::Join(const std::shared_ptr<Connection>& client) {
    MutexLock lock(mutex_);
    client->BeginLive(Beginning(), hasKeyPictures_ && group_.Empty());
    clients_.push_back(client);
}

std::vector<Chunk> ClientOutlet::Beginning() const {
    std::vector<Chunk> chunks = GivesAllSound() ? group_.Items() : group_.ForNewcomer();
    if (const auto head = Head())
        chunks.insert(chunks.begin(), *head);
    return chunks;
}

void ClientOutlet::Leave(const Connection& client) {
    MutexLock lock(mutex_);
    std::erase_if(clients_, [&](const auto& member) { return member.get() == &client; });
}

void ClientOutlet::Take(const MediaUnit& unit) {
    MutexLock lock(mutex_);
    ++takenUnits_;
    packed_.chunks.clear();
    packed_.ending.clear();
    Pack(unit, packed_);
    if (!packed_.ending.empty())
        EndClients(packed_.ending);
    for (const Chunk& chunk : packed_.chunks)
        Send(chunk);
    packed_.chunks.clear();  // lets go of their bytes
}

void ClientOutlet::EndClients(const std::string& reason) {
    for (const auto& client : clients_)
        client->AskToEnd(reason);
    clients_.clear();
    group_.Forget();
}

void ClientOutlet::Send(const Chunk& chunk) {
    const auto now = std::chrono::steady_clock::now();
    if (takenUnits_ == 1 && chunk.kind != UnitKind::kPicture)
        group_.OpenIfEmpty(now);  // what the relay greets its first client with
    hasKeyPictures_ = hasKeyPictures_ || chunk.kind == UnitKind::kKeyPicture;
    group_.Add(chunk, chunk.kind, chunk.timestampMs, chunk.Size(), now);
    if (!clients_.empty())
        bursts_.Send(clients_, chunk);
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
