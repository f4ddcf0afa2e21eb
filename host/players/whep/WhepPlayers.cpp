#include "host/players/whep/WhepPlayers.h"

#include <sys/random.h>

#include <array>
#include <chrono>
#include <map>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/http/HttpText.h"
#include "host/players/whep/WhepLibrary.h"
#include "host/players/whep/WhepOffer.h"
#include "host/players/whep/WhepPlayer.h"
#include "host/sources/StreamAddress.h"
#include "platform/Mutex.h"

namespace vms::host {
namespace {

constexpr std::chrono::seconds kSweep(1);
constexpr char kSdp[] = "application/sdp";

/// 128 random bits in hexadecimal. "" = the system has none to give.
std::string NewName() {
    std::array<unsigned char, 16> bytes{};
    if (getentropy(bytes.data(), bytes.size()) != 0)
        return "";
    constexpr char kDigits[] = "0123456789abcdef";
    std::string name;
    for (const unsigned char byte : bytes) {
        name += kDigits[byte >> 4];
        name += kDigits[byte & 15];
    }
    return name;
}

bool IsSdp(std::string_view contentType) {
    return contentType.substr(0, contentType.find_first_of("; ")) == kSdp;
}

/// Reads the address and the offer. @return status 0 = all is well
WhepProblem ReadRequest(const HttpRequest& request, StreamAddress& address, WhepOffer& offer) {
    if (request.rest.size() != 2)
        return {404, "streams are at /whep/DEVICE/CHANNEL"};
    if (!IsSdp(request.Header("Content-Type")))
        return {415, "the offer must be application/sdp"};
    if (request.body.size() > kLongestOffer)
        return {413, "the offer is too long"};
    const std::string problem = ReadStreamAddress(request.rest[0], request.rest[1],
                                                  ValueIn(request.query, "stream"), address);
    if (!problem.empty())
        return {400, problem};
    return ReadWhepOffer(request.body, offer);
}

}  // namespace

class WhepPlayers::Impl {
public:
    Impl(PlayerContext& context, WhepSettings settings)
        : settings_(std::move(settings)),
          library_(settings_.library, context.log),
          shared_{context, library_, settings_,
                  [this](const WhepPlayer& player) { Forget(player); }} {
        if (settings_.warmUp && IsAvailable())
            std::make_shared<Lane>(context.lanes)->Post([this] { library_.Engine(); });
        sweeper_ = std::thread([this] { Run(); });
    }

    ~Impl() {
        {
            MutexLock lock(mutex_);
            stopping_ = true;
            stop_.NotifyAll();
        }
        sweeper_.join();
    }

    void Post(const HttpRequest& request, std::shared_ptr<HttpReply> reply) {
        StreamAddress address;
        WhepOffer offer;
        const WhepProblem problem = IsAvailable() ? ReadRequest(request, address, offer)
                                                  : WhepProblem{501, "this host is without WebRTC"};
        if (problem.status != 0) {
            reply->Send(HttpFailure(problem.status, problem.text));
            return;
        }
        const auto player = std::make_shared<WhepPlayer>(shared_, NewName(), std::move(address),
                                                         std::move(offer), request, reply);
        if (Enter(player)) {
            player->Start();
            return;
        }
        HttpResponse full = HttpFailure(503, "too many players over WebRTC");
        full.headers["Retry-After"] = "10";
        reply->Send(std::move(full));
    }

    void Delete(const HttpRequest& request, const std::shared_ptr<HttpReply>& reply) {
        const auto player = request.rest.size() == 3 ? Find(request.rest[2]) : nullptr;
        if (player == nullptr || player->Address().device != request.rest[0] ||
            std::to_string(player->Address().channel) != request.rest[1]) {
            reply->Send(HttpFailure(404, "there is no such session"));
            return;
        }
        player->Close("the browser has said goodbye");
        reply->Send({200, "", "", {}});
    }

    static void Options(const HttpRequest&, const std::shared_ptr<HttpReply>& reply) {
        reply->Send({204, "", "", {{"Accept-Post", kSdp}, {"Allow", "DELETE, OPTIONS, POST"}}});
    }

private:
    bool IsAvailable() const { return settings_.players > 0 && library_.IsInstalled(); }

    bool Enter(const std::shared_ptr<WhepPlayer>& player) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        return players_.size() < settings_.players && !player->Name().empty() &&
               players_.emplace(player->Name(), player).second;
    }

    std::shared_ptr<WhepPlayer> Find(const std::string& name) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        const auto player = players_.find(name);
        return player == players_.end() ? nullptr : player->second;
    }

    void Forget(const WhepPlayer& player) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        players_.erase(player.Name());
    }

    void Run() VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        while (!stopping_) {
            stop_.WaitUntil(mutex_, std::chrono::steady_clock::now() + kSweep);
            std::vector<std::shared_ptr<WhepPlayer>> players;
            for (const auto& [name, player] : players_)
                players.push_back(player);
            lock.Unlock();
            for (const auto& player : players)
                player->Sweep(WhepPlayer::Clock::now());
            players.clear();
            lock.Lock();
        }
    }

    const WhepSettings settings_;
    WhepLibrary library_;
    WhepPlayer::Shared shared_;
    Mutex mutex_;
    CondVar stop_;
    bool stopping_ VMS_GUARDED_BY(mutex_) = false;
    std::map<std::string, std::shared_ptr<WhepPlayer>> players_
        VMS_GUARDED_BY(mutex_);  ///< by name
    std::thread sweeper_;
};

WhepPlayers::WhepPlayers(PlayerContext& context, WhepSettings settings)
    : impl_(std::make_unique<Impl>(context, std::move(settings))) {}

WhepPlayers::~WhepPlayers() = default;

void WhepPlayers::AddTo(HttpRouter& router) {
    const auto post = [&impl = *impl_](const HttpRequest& request,
                                       std::shared_ptr<HttpReply> reply) {
        impl.Post(request, std::move(reply));
    };
    const auto end = [&impl = *impl_](const HttpRequest& request,
                                      const std::shared_ptr<HttpReply>& reply) {
        impl.Delete(request, reply);
    };
    router.Add("POST", "/whep/", post);
    router.Add("DELETE", "/whep/", end);
    router.Add("OPTIONS", "/whep/", &Impl::Options);
}

}  // namespace vms::host
