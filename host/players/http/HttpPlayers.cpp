#include "host/players/http/HttpPlayers.h"

#include <chrono>
#include <thread>
#include <utility>
#include <vector>

#include "host/players/http/LivePlayer.h"
#include "host/players/http/MediaTarget.h"
#include "host/players/http/PlaybackPlayer.h"
#include "host/players/http/Snapshots.h"
#include "media/LibavLog.h"

namespace vms::host {
namespace {

constexpr std::chrono::seconds kSweep(1);

LiveContainer ContainerOf(const std::string& ending) {
    return ending == "ts" ? LiveContainer::kTransportStream : LiveContainer::kFragments;
}

}  // namespace

class HttpPlayers::Impl {
public:
    Impl(PlayerContext& context, const SpoolSettings& spool)
        : context_(context),
          snapshots_(std::make_shared<Snapshots>(context)),
          downloads_(context, spool) {
        SilenceLibav();
        snapshots_->Start();
        sweeper_ = std::thread([this] { Run(); });
    }

    ~Impl() {
        {
            MutexLock lock(mutex_);
            stopping_ = true;
            stop_.NotifyAll();
        }
        sweeper_.join();
        snapshots_->Stop();
    }

    void Live(const HttpRequest& request, std::shared_ptr<HttpReply> reply) {
        HttpResponse failure;
        const auto target = ReadMediaTarget(request, {"ts", "mp4", "jpg"}, failure);
        if (!target) {
            reply->Send(std::move(failure));
        } else if (target->ending == "jpg") {
            Snapshot(request, *target, std::move(reply));
        } else {
            const auto player = std::make_shared<LivePlayer>(
                context_, request, std::move(reply), target->stream, ContainerOf(target->ending));
            Watch(&Impl::live_, player);
            player->Start();
        }
    }

    void Play(const HttpRequest& request, std::shared_ptr<HttpReply> reply) {
        HttpResponse failure;
        const auto target = ReadMediaTarget(request, {"ts", "mp4"}, failure);
        std::string problem;
        const auto range = ReadMediaRange(request.query, problem);
        if (!target) {
            reply->Send(std::move(failure));
        } else if (!range) {
            reply->Send(HttpFailure(400, problem));
        } else {
            const auto player = std::make_shared<PlaybackPlayer>(
                context_, request, std::move(reply), target->stream, ContainerOf(target->ending),
                *range);
            Watch(&Impl::playbacks_, player);
            player->Start();
        }
    }

    void Download(const HttpRequest& request, std::shared_ptr<HttpReply> reply) {
        HttpResponse failure;
        const auto target = ReadMediaTarget(request, {"mp4"}, failure);
        std::string problem;
        const auto range = ReadMediaRange(request.query, problem);
        if (!target)
            reply->Send(std::move(failure));
        else if (!range)
            reply->Send(HttpFailure(400, problem));
        else
            downloads_.Answer(request, target->stream, *range, std::move(reply));
    }

    void Stop() { downloads_.Stop(); }

private:
    template <class PlayerKind>
    using Waiting = std::vector<std::shared_ptr<PlayerKind>>;

    void Snapshot(const HttpRequest& request, const MediaTarget& target,
                  std::shared_ptr<HttpReply> reply) {
        const auto width = ReadWidth(request.query);
        if (width)
            snapshots_->Answer(target.stream, *width, std::move(reply));
        else
            reply->Send(HttpFailure(400, "width must be 16 to 4096"));
    }

    /// Has somebody's patience looked after.
    template <class PlayerKind>
    void Watch(Waiting<PlayerKind> Impl::*list, const std::shared_ptr<PlayerKind>& player)
        VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        (this->*list).push_back(player);
    }

    void Run() {
        MutexLock lock(mutex_);
        while (!stopping_) {
            stop_.WaitUntil(mutex_, std::chrono::steady_clock::now() + kSweep);
            lock.Unlock();
            const auto now = std::chrono::steady_clock::now();
            snapshots_->Sweep(now);
            Sweep(&Impl::live_, now);
            Sweep(&Impl::playbacks_, now);
            downloads_.Sweep(now);
            lock.Lock();
        }
    }

    template <class PlayerKind>
    void Sweep(Waiting<PlayerKind> Impl::*list, std::chrono::steady_clock::time_point now)
        VMS_EXCLUDES(mutex_) {
        Waiting<PlayerKind> players;
        {
            MutexLock lock(mutex_);
            players.swap(this->*list);
        }
        std::erase_if(players, [now](const auto& player) { return player->Sweep(now); });
        MutexLock lock(mutex_);
        (this->*list).insert((this->*list).end(), players.begin(), players.end());
    }

    PlayerContext& context_;
    const std::shared_ptr<Snapshots> snapshots_;
    Downloads downloads_;
    Mutex mutex_;
    CondVar stop_;
    bool stopping_ VMS_GUARDED_BY(mutex_) = false;
    Waiting<LivePlayer> live_ VMS_GUARDED_BY(mutex_);           ///< for a picture
    Waiting<PlaybackPlayer> playbacks_ VMS_GUARDED_BY(mutex_);  ///< the same
    std::thread sweeper_;
};

HttpPlayers::HttpPlayers(PlayerContext& context, const SpoolSettings& spool)
    : impl_(std::make_unique<Impl>(context, spool)) {}

HttpPlayers::~HttpPlayers() = default;

void HttpPlayers::Stop() {
    impl_->Stop();
}

void HttpPlayers::AddTo(HttpRouter& router) {
    router.Add("GET", "/live/",
               [&impl = *impl_](const HttpRequest& request, std::shared_ptr<HttpReply> reply) {
                   impl.Live(request, std::move(reply));
               });
    router.Add("GET", "/play/",
               [&impl = *impl_](const HttpRequest& request, std::shared_ptr<HttpReply> reply) {
                   impl.Play(request, std::move(reply));
               });
    router.Add("GET", "/download/",
               [&impl = *impl_](const HttpRequest& request, std::shared_ptr<HttpReply> reply) {
                   impl.Download(request, std::move(reply));
               });
}

}  // namespace vms::host
