#include "host/players/http/Downloads.h"

#include <algorithm>
#include <utility>

#include "host/players/http/MediaAnswers.h"
#include "host/text/HostError.h"
#include "platform/ILogHandler.h"

namespace vms::host {
namespace {

constexpr size_t kThreads = 2;  ///< that write and read files

}  // namespace

Downloads::Downloads(PlayerContext& context, SpoolSettings settings)
    : context_(context),
      settings_(std::move(settings)),
      room_(settings_.bytes, [this] { return DropOldest(); }),
      lanes_(kThreads) {}

Downloads::~Downloads() {
    Stop();
    lanes_.Stop();
}

void Downloads::Answer(const HttpRequest& request, const StreamAddress& address,
                       const MediaRange& range, std::shared_ptr<HttpReply> reply) {
    if (range.to - range.from > kLongest) {
        reply->Send(HttpFailure(400, "a download may be six hours long"));
        return;
    }
    PlaybackRequest wanted;
    wanted.device = address.device;
    wanted.channel = address.channel;
    wanted.stream = address.stream;
    wanted.from = range.from;
    wanted.to = range.to;
    wanted.isDownload = true;
    SourceProblem problem;
    const auto download = Use(wanted, !request.isHead, problem);
    if (problem.status != 0) {
        reply->Send(ProblemAnswer(problem));
        return;
    }
    if (download == nullptr) {  // nothing is asked of a device for a head alone
        reply->Begin(MediaHead(LiveContainer::kFile));
        return;
    }
    const Key key{wanted.device, wanted.channel, wanted.stream, wanted.from, wanted.to};
    const auto player =
        std::make_shared<DownloadPlayer>(context_, lanes_, request, std::move(reply), download,
                                         [this, key, download] { Left(key, *download); });
    {
        MutexLock lock(mutex_);
        waiting_.push_back(player);
    }
    player->Start();
}

/// One that is there already, or a new one; null = there is none and none may begin.
std::shared_ptr<Download> Downloads::Use(const PlaybackRequest& request, bool mayBegin,
                                         SourceProblem& problem) {
    std::shared_ptr<Download> download;
    std::shared_ptr<Download> dropped;  // goes after the lock
    bool isNew = false;
    {
        MutexLock lock(mutex_);
        const Key key{request.device, request.channel, request.stream, request.from, request.to};
        auto entry = entries_.find(key);
        if (entry != entries_.end() && entry->second.download->Now().problem.status != 0) {
            dropped = std::move(entry->second.download);
            entries_.erase(entry);
            entry = entries_.end();
        }
        if (entry == entries_.end()) {
            if (!mayBegin)
                return nullptr;
            download = Make(request, problem);
            if (download == nullptr)
                return nullptr;
            entry = entries_.emplace(key, Entry{download}).first;
            isNew = true;
        }
        download = entry->second.download;
        ++entry->second.readers;
    }
    if (isNew)
        download->Start(context_.playbacks);
    return download;
}

std::shared_ptr<Download> Downloads::Make(const PlaybackRequest& request, SourceProblem& problem) {
    const auto growing = std::count_if(entries_.begin(), entries_.end(), [](const auto& entry) {
        return !entry.second.download->Now().isOver;
    });
    if (stopped_)
        problem = {503, "the host is ending"};
    else if (growing >= kMostGrowing || entries_.size() >= kMost)
        problem = {503, "too many downloads are under way"};
    if (problem.status != 0)
        return nullptr;
    try {
        return std::make_shared<Download>(
            request, std::make_unique<SpoolFile>(settings_.folder, room_), lanes_);
    } catch (const HostError& error) {
        context_.log.Log(3, "Downloads", "%s", error.what());
        problem = {507, "no download can be kept"};
        return nullptr;
    }
}

void Downloads::Left(const Key& key, const Download& download) {
    MutexLock lock(mutex_);
    const auto entry = entries_.find(key);
    if (entry == entries_.end() || entry->second.download.get() != &download)
        return;
    --entry->second.readers;
    entry->second.lastUse = Clock::now();
}

/// @return null when all are in use
std::shared_ptr<Download> Downloads::TakeOldest() {
    auto oldest = entries_.end();
    for (auto entry = entries_.begin(); entry != entries_.end(); ++entry) {
        if (entry->second.IsUnused() &&
            (oldest == entries_.end() || entry->second.lastUse < oldest->second.lastUse))
            oldest = entry;
    }
    if (oldest == entries_.end())
        return nullptr;
    std::shared_ptr<Download> download = std::move(oldest->second.download);
    entries_.erase(oldest);
    return download;
}

bool Downloads::DropOldest() {
    std::shared_ptr<Download> download;
    {
        MutexLock lock(mutex_);
        download = TakeOldest();
    }
    if (download == nullptr)
        return false;
    download->Stop({503, "others need the room"});
    return true;
}

void Downloads::Sweep(Clock::time_point now) {
    std::vector<std::shared_ptr<Download>> over;
    std::vector<std::shared_ptr<DownloadPlayer>> waiting;
    {
        MutexLock lock(mutex_);
        waiting.swap(waiting_);
        std::erase_if(entries_, [&](auto& entry) {
            const bool isFailed = entry.second.download->Now().problem.status != 0;
            if (!entry.second.IsUnused() || (!isFailed && now - entry.second.lastUse < kKeep))
                return false;
            over.push_back(std::move(entry.second.download));
            return true;
        });
    }
    for (const auto& download : over)
        download->Stop({503, "nobody wants it"});
    std::erase_if(waiting, [now](const auto& player) { return player->Sweep(now); });
    MutexLock lock(mutex_);
    waiting_.insert(waiting_.end(), waiting.begin(), waiting.end());
}

void Downloads::Stop() {
    std::vector<std::shared_ptr<Download>> all;
    std::vector<std::shared_ptr<DownloadPlayer>> waiting;
    {
        MutexLock lock(mutex_);
        stopped_ = true;
        for (const auto& [key, entry] : entries_)
            all.push_back(entry.download);
        waiting.swap(waiting_);
    }
    for (const auto& download : all)
        download->Stop({503, "the host is ending"});
}

}  // namespace vms::host
