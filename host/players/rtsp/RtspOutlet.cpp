#include "host/players/rtsp/RtspOutlet.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "host/players/rtsp/WallClock.h"
#include "platform/ILogHandler.h"

namespace vms::host {
namespace {

/// A step ahead of a live stream's times that is a jump, us.
constexpr int64_t kForward = 10'000'000;

bool Has(unsigned tracks, size_t track) {
    return (tracks >> track & 1) != 0;
}

Chunk ChunkOf(std::string packets, const MediaUnit& unit) {
    auto owner = std::make_shared<const std::string>(std::move(packets));
    const std::string_view body = *owner;
    return {{}, body, std::move(owner), unit.Kind(), unit.Header().timestampMs};
}

Chunk ControlChunk(std::string packets) {
    auto owner = std::make_shared<const std::string>(std::move(packets));
    const std::string_view body = *owner;
    return {{}, body, std::move(owner), UnitKind::kOther, 0};
}

}  // namespace

void RtspOutlet::Attach(const void* who, Ready ready) {
    MutexLock lock(mutex_);
    members_.push_back({who, std::move(ready), nullptr});
    if (stream_ != nullptr || !problem_.empty())
        TellReady();
}

void RtspOutlet::Detach(const void* who) {
    MutexLock lock(mutex_);
    std::erase_if(members_, [who](const Member& member) { return member.who == who; });
    ListMembers();
}

void RtspOutlet::Settle() {
    MutexLock lock(mutex_);
    if (stream_ == nullptr && problem_.empty() && probe_.Settle())
        Open();
}

std::vector<std::string> RtspOutlet::Descriptions() const {
    MutexLock lock(mutex_);
    std::vector<std::string> descriptions;
    for (size_t i = 0; stream_ != nullptr && i < stream_->Tracks(); ++i)
        descriptions.push_back(stream_->Track(i).Description());
    return descriptions;
}

uint32_t RtspOutlet::Source(size_t track) const {
    MutexLock lock(mutex_);
    return stream_ != nullptr && track < stream_->Tracks() ? stream_->Track(track).Source() : 0;
}

void RtspOutlet::Open() {
    try {
        stream_ = std::make_unique<RtpStream>(probe_.Pictures(), probe_.Sound(), kForward);
        for (const MediaUnit& unit : probe_.TakeKept())
            Pass(unit);
    } catch (const std::exception& error) {
        stream_ = nullptr;
        problem_ = error.what();
        log_.Log(2, "Rtsp", "a stream cannot be sent: %s", error.what());
    }
    TellReady();
}

void RtspOutlet::TellReady() {
    for (Member& member : members_) {
        if (const Ready ready = std::exchange(member.ready, nullptr))
            ready(problem_);
    }
}

void RtspOutlet::Join(const void* who, const std::shared_ptr<RtspPlayer>& player, unsigned tracks,
                      const std::function<std::string(const RtspStarts&)>& answer) {
    MutexLock lock(mutex_);
    Member* const member = Find(who);
    if (member == nullptr || stream_ == nullptr)
        return;
    if (member->player != nullptr) {  // watches already
        player->Answer(answer(StartsOf({})));
        return;
    }
    member->player = player;
    member->tracks = tracks;
    const std::vector<Item> items = PreludeOf(*member);
    int64_t begin = stream_->NewestUs();
    for (const Item& item : items)
        begin = std::min(begin, item.lineUs);
    std::vector<Chunk> prelude;
    prelude.push_back(ControlChunk(stream_->Reports(tracks, begin)));
    for (const Item& item : items)
        prelude.push_back(item.chunk);
    player->Answer(answer(StartsOf(items)));
    player->BeginLive(prelude, Has(tracks, 0) && probe_.Pictures() != nullptr && group_.Empty());
    ListMembers();
    if (!problem_.empty())
        EndMembers(problem_);
}

/// The newest group without what it has not set up; for one who comes back what it has not had.
std::vector<RtspOutlet::Item> RtspOutlet::PreludeOf(const Member& member) const {
    std::vector<Item> all = group_.Items();
    const bool goesOn =
        !all.empty() && member.leftAfter != 0 && all.front().number <= member.leftAfter;
    std::vector<Item> items = goesOn ? std::move(all) : group_.ForNewcomer();
    std::erase_if(items, [&](const Item& item) {
        return !Has(member.tracks, item.track) || (goesOn && item.number <= member.leftAfter);
    });
    return items;
}

RtspStarts RtspOutlet::StartsOf(const std::vector<Item>& prelude) const {
    RtspStarts starts;
    for (size_t track = 0; track < stream_->Tracks(); ++track) {
        const auto first = std::find_if(prelude.begin(), prelude.end(),
                                        [&](const Item& item) { return item.track == track; });
        starts.push_back(first == prelude.end() ? stream_->NextOf(track) : first->start);
    }
    return starts;
}

void RtspOutlet::Leave(const void* who) {
    MutexLock lock(mutex_);
    Member* const member = Find(who);
    if (member == nullptr || member->player == nullptr)
        return;
    member->player = nullptr;
    member->leftAfter = takenUnits_;
    ListMembers();
}

void RtspOutlet::Take(const MediaUnit& unit) {
    MutexLock lock(mutex_);
    ++takenUnits_;
    if (!problem_.empty())
        return;
    if (stream_ == nullptr) {
        probe_.Take(unit);
        if (probe_.IsKnown())
            Open();
        return;
    }
    if (stream_->HasChanged(unit)) {
        problem_ = "the stream is coded otherwise now";
        EndMembers(problem_);
        return;
    }
    try {
        Pass(unit);
    } catch (const std::exception& error) {
        log_.Log(2, "Rtsp", "a unit is left out: %s", error.what());
    }
}

void RtspOutlet::Pass(const MediaUnit& unit) {
    std::optional<RtpStream::Packed> packed = stream_->Pack(unit, UnixUs());
    if (!packed)
        return;
    const Item item{ChunkOf(std::move(packed->packets), unit),
                    static_cast<size_t>(packed->track),
                    {packed->sequence, packed->time},
                    packed->lineUs,
                    takenUnits_};
    group_.Add(item, item.chunk.kind, item.chunk.timestampMs, item.chunk.Size(),
               std::chrono::steady_clock::now());
    Send(item);
}

void RtspOutlet::Send(const Item& item) {
    if (!inside_[item.track].empty())
        bursts_.Send(inside_[item.track], item.chunk);
    for (const auto& flow : overUdp_[item.track])
        flow->SendLive(item.chunk);
}

RtspOutlet::Member* RtspOutlet::Find(const void* who) {
    const auto found = std::find_if(members_.begin(), members_.end(),
                                    [who](const Member& member) { return member.who == who; });
    return found == members_.end() ? nullptr : &*found;
}

void RtspOutlet::ListMembers() {
    for (size_t track = 0; track < inside_.size(); ++track) {
        inside_[track].clear();
        overUdp_[track].clear();
        for (const Member& member : members_) {
            if (member.player == nullptr || !Has(member.tracks, track))
                continue;
            if (member.player->Udp() != nullptr)
                overUdp_[track].push_back(member.player->Udp());
            else
                inside_[track].push_back(member.player->Tcp());
        }
    }
}

void RtspOutlet::End(const std::string& reason) {
    MutexLock lock(mutex_);
    if (problem_.empty())
        problem_ = reason;
    EndMembers(reason);
}

void RtspOutlet::EndMembers(const std::string& reason) {
    TellReady();
    for (Member& member : members_) {
        const auto player = std::exchange(member.player, nullptr);
        if (player == nullptr)
            continue;
        player->SendControl(stream_->Farewells(member.tracks, UnixUs()));
        player->Close(reason);
    }
    ListMembers();
}

OutletCounts RtspOutlet::Counts() const {
    MutexLock lock(mutex_);
    return {members_.size(), takenUnits_};
}

}  // namespace vms::host
