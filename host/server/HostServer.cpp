#include "host/server/HostServer.h"

#include <boost/asio/steady_timer.hpp>

#include <algorithm>
#include <list>
#include <thread>
#include <utility>

#include "host/http/HttpServer.h"
#include "host/net/Bursts.h"
#include "host/net/IoThread.h"
#include "host/net/WireListener.h"
#include "host/players/PlayerTable.h"
#include "host/players/rtsp/RtspServer.h"
#include "host/players/websocket/WebSocketPlayer.h"
#include "host/players/websocket/WebSocketSession.h"
#include "host/relay/ExpectedStreams.h"
#include "host/server/HostTls.h"
#include "host/sources/LiveStreams.h"
#include "host/sources/PlaybackStreams.h"
#include "host/stream/Lanes.h"
#include "host/stream/ReceiverTable.h"
#include "host/stream/StreamModules.h"
#include "host/stream/StreamServer.h"
#include "platform/ILogHandler.h"
#include "platform/LocalIps.h"

namespace vms::host {
namespace {

constexpr char kStreamPath[] = "/stream";
constexpr size_t kMostLanes = 16;  ///< threads on which modules hear of players
constexpr size_t kMostIoThreads = 4;
constexpr std::chrono::seconds kSweep(1);
constexpr std::chrono::seconds kCloseWait(2);  ///< players are cut off after half a second

size_t IoThreadCount() {
    return std::clamp<size_t>(std::thread::hardware_concurrency(), 1, kMostIoThreads);
}

bool IsAnyAddress(const std::string& host) {
    return host.empty() || host == "0.0.0.0" || host == "::";
}

/// What players are told: the configured name, else where we listen.
std::string AdvertisedHost(const HttpConfig& config) {
    if (!config.advertise.empty())
        return config.advertise;
    if (!IsAnyAddress(config.host))
        return config.host;
    std::list<std::string> addresses;
    GetLocalIps(addresses);
    return addresses.empty() ? "127.0.0.1" : addresses.front();
}

/// As it is for whoever puts no doors before the server.
void OpenGate(const HttpRequest&, const std::function<void(HttpAdmission)>& done) {
    HttpAdmission admission;
    admission.identity.role = Role::kAdmin;
    done(admission);
}

}  // namespace

class HostServer::Impl {
public:
    Impl(const HttpConfig& config, ILogHandler& log, const SendLimits& limits,
         std::shared_ptr<TlsContext> tls)
        : log_(log),
          limits_(limits),
          host_(config.host),
          budget_(static_cast<size_t>(config.bodyMegabytes) << 20),
          io_(IoThreadCount()),
          tls_(tls),
          certificate_(tls, log),
          listener_(config.host, config.port, IoThreads(), std::move(tls), log),
          streams_(receivers_, AdvertisedHost(config), listener_.Port()) {}

    ~Impl() { Stop(); }

    void SetGate(HttpGate gate) { gate_ = std::move(gate); }

    void Attach(std::vector<IStreamModule*> modules, DeviceModules& devices,
                std::function<void(const std::string&)> onStart) {
        modules_ = std::make_unique<StreamModules>(std::move(modules), log_);
        relays_ = std::make_unique<RelayTable>(*modules_, receivers_);
        expected_ = std::make_unique<ExpectedStreams>(*relays_, lanes_);
        live_ = std::make_unique<LiveStreams>(devices, *relays_, lanes_);
        playbacks_ = std::make_unique<PlaybackStreams>(devices, *modules_, receivers_, lanes_);
        context_.reset(new PlayerContext{*modules_, receivers_, *relays_, *live_, *playbacks_,
                                         players_, bursts_, lanes_, log_, totals_,
                                         std::move(onStart)});
    }

    void Start(HttpRouter router) {
        router.AddUpgrade(kStreamPath, [this](HttpUpgrade upgrade) {
            StartWebSocketSession(std::move(upgrade.connection), upgrade.head,
                                  std::move(upgrade.read), upgrade.request.query, *context_,
                                  budget_, upgrade.request.identity.role);
        });
        HttpSettings settings;
        settings.send = limits_;
        settings.isSecureOnly = tls_ != nullptr;
        http_ = std::make_unique<HttpServer>(std::move(router), gate_, budget_, log_, settings);
        listener_.Start([this](std::unique_ptr<Wire> wire, IoThread& io) {
            http_->Serve(std::move(wire), io);
        });
        SweepLater();
    }

    void ServeRtsp(const RtspConfig& config, RtspAccess& access) {
        RtspSettings settings;
        settings.send = limits_;
        rtsp_ = std::make_unique<RtspServer>(*context_, access, settings);
        rtspListener_ = std::make_unique<WireListener>(config.host.empty() ? host_ : config.host,
                                                       config.port, IoThreads(), tls_, log_);
        rtspListener_->Start([this](std::unique_ptr<Wire> wire, IoThread& io) {
            rtsp_->Serve(std::move(wire), io);
        });
    }

    void Expect(const std::string& key) { expected_->Expect(key); }

    void Stop() {
        if (std::exchange(stopped_, true))
            return;
        listener_.Stop();
        if (rtspListener_ != nullptr)
            rtspListener_->Stop();
        players_.Close();
        for (const auto& player : players_.All())
            player->Close("the server ends");
        if (http_ != nullptr)
            http_->Stop();
        if (rtsp_ != nullptr)
            rtsp_->Stop();
        if (expected_ != nullptr) {
            live_->Close();
            playbacks_->Close();
            expected_->Close();
        }
        while (!players_.WaitUntilEmpty(std::chrono::steady_clock::now() + kCloseWait))
            log_.Log(2, "Stop", "modules are still busy with players");
        for (IoThread& thread : io_)
            thread.Stop();
        lanes_.Stop();
    }

    PlayerContext& Context() { return *context_; }
    BodyBudget& Budget() { return budget_; }
    StreamServer& Streams() { return streams_; }
    const PlayerTable& Players() const { return players_; }
    const StreamTotals& Totals() const { return totals_; }
    int Port() const { return listener_.Port(); }
    int RtspPort() const { return rtspListener_ == nullptr ? 0 : rtspListener_->Port(); }
    std::vector<RelayInfo> Relays() const {
        return relays_ == nullptr ? std::vector<RelayInfo>{} : relays_->List();
    }

private:
    void SweepLater() {
        sweep_.expires_after(kSweep);
        sweep_.async_wait([this](const boost::system::error_code& error) {
            if (error)
                return;
            expected_->Sweep();
            live_->Sweep();
            certificate_.Look(std::chrono::system_clock::now());
            SweepLater();
        });
    }

    std::vector<IoThread*> IoThreads() {
        std::vector<IoThread*> threads;
        for (IoThread& thread : io_)
            threads.push_back(&thread);
        return threads;
    }

    ILogHandler& log_;
    const SendLimits limits_;
    const std::string host_;
    HttpGate gate_ = OpenGate;
    BodyBudget budget_;
    StreamTotals totals_;
    ReceiverTable receivers_;
    PlayerTable players_;
    Bursts bursts_;
    std::unique_ptr<StreamModules> modules_;
    std::unique_ptr<RelayTable> relays_;
    std::unique_ptr<ExpectedStreams> expected_;
    std::unique_ptr<LiveStreams> live_;
    std::unique_ptr<PlaybackStreams> playbacks_;
    std::unique_ptr<PlayerContext> context_;
    // The order of destruction counts: the loops of the I/O threads hold sessions and players,
    // which have lanes.
    Lanes lanes_{kMostLanes};
    std::vector<IoThread> io_;
    std::unique_ptr<HttpServer> http_;
    const std::shared_ptr<TlsContext> tls_;
    CertificateWatch certificate_;  ///< of the first I/O thread
    WireListener listener_;
    std::unique_ptr<RtspServer> rtsp_;
    std::unique_ptr<WireListener> rtspListener_;
    boost::asio::steady_timer sweep_{io_.front().Context()};
    StreamServer streams_;
    bool stopped_ = false;
};

HostServer::HostServer(const HttpConfig& config, ILogHandler& log, const SendLimits& limits,
                       std::shared_ptr<TlsContext> tls)
    : impl_(std::make_unique<Impl>(config, log, limits, std::move(tls))) {}

HostServer::~HostServer() = default;

void HostServer::SetGate(HttpGate gate) {
    impl_->SetGate(std::move(gate));
}

void HostServer::Attach(std::vector<IStreamModule*> modules, DeviceModules& devices,
                        std::function<void(const std::string& key)> onStart) {
    impl_->Attach(std::move(modules), devices, std::move(onStart));
}

PlayerContext& HostServer::Context() {
    return impl_->Context();
}

BodyBudget& HostServer::Budget() {
    return impl_->Budget();
}

void HostServer::Start(HttpRouter router) {
    impl_->Start(std::move(router));
}

void HostServer::ServeRtsp(const RtspConfig& config, RtspAccess& access) {
    impl_->ServeRtsp(config, access);
}

void HostServer::Stop() {
    impl_->Stop();
}

void HostServer::Expect(const std::string& key) {
    impl_->Expect(key);
}

int HostServer::Port() const {
    return impl_->Port();
}

int HostServer::RtspPort() const {
    return impl_->RtspPort();
}

IStreamConnectionController& HostServer::Streams() {
    return impl_->Streams();
}

std::vector<PlayerInfo> HostServer::Players() const {
    std::vector<PlayerInfo> players;
    for (const auto& player : impl_->Players().All())
        players.push_back(player->Describe());
    return players;
}

std::vector<RelayInfo> HostServer::Relays() const {
    return impl_->Relays();
}

StreamSummary HostServer::Summary() const {
    const StreamTotals& totals = impl_->Totals();
    size_t connected = 0;
    const SendCounts sent = impl_->Players().Totals(connected);
    return {totals.players,    totals.requests,    sent.sentUnits, sent.sentBytes,
            sent.droppedUnits, totals.slowPlayers, connected};
}

}  // namespace vms::host
