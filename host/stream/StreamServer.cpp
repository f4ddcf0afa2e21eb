#include "host/stream/StreamServer.h"

#include <unistd.h>

#include <boost/asio/thread_pool.hpp>

#include <algorithm>
#include <list>
#include <thread>

#include "host/stream/ConnectionTable.h"
#include "host/stream/FanOut.h"
#include "host/stream/HttpSession.h"
#include "host/stream/Listener.h"
#include "host/stream/PlayerConnection.h"
#include "host/stream/PlayerProtocol.h"
#include "host/stream/StreamModules.h"
#include "host/stream/UnitKind.h"
#include "platform/ILogHandler.h"
#include "platform/LocalIps.h"

namespace vms {
namespace {

constexpr size_t kLanes = 16;  ///< threads on which modules hear of players
constexpr size_t kWorkers = HttpContext::kMostRunning;  ///< threads for requests that may wait long
constexpr size_t kReaders = 4;                          ///< threads for all other requests
constexpr size_t kMostIoThreads = 4;
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

std::string HostName() {
    char name[256] = "";
    return gethostname(name, sizeof name - 1) == 0 ? name : "";
}

}  // namespace

class StreamServer::Impl {
public:
    Impl(const HttpConfig& config, ILogHandler& log, const SendLimits& limits)
        : log_(log),
          limits_(limits),
          access_(config.token, {config.host, config.advertise, HostName()}),
          advertised_(AdvertisedHost(config)),
          io_(IoThreadCount()),
          listener_(config.host, config.port, IoThreads(), log) {}

    ~Impl() { Stop(); }

    void Start(std::vector<IStreamModule*> modules, HttpHandler handler) {
        modules_ = std::make_unique<StreamModules>(std::move(modules), log_);
        players_ = std::make_unique<PlayerContext>(
            PlayerContext{*modules_, table_, lanes_, log_, totals_, limits_});
        http_.reset(new HttpContext{std::move(handler), access_, workers_, readers_, *players_});
        listener_.Start([this](Listener::Socket socket, IoThread& io) {
            StartHttpSession(std::move(socket), io, *http_);
        });
    }

    void Stop() {
        if (stopped_)
            return;
        stopped_ = true;
        listener_.Stop();
        if (http_)
            http_->ending = true;
        table_.Close();
        for (const auto& player : table_.All())
            player->Close("the server ends");
        WaitForModules();
        workers_.join();
        readers_.join();
        for (auto& thread : io_)
            thread.Stop();
        lanes_.join();
    }

    ConnectionTable& Table() { return table_; }
    FanOut& Bursts() { return fanOut_; }
    const StreamTotals& Totals() const { return totals_; }
    const std::string& Advertised() const { return advertised_; }
    int Port() const { return listener_.Port(); }
    ILogHandler& Log() { return log_; }

private:
    void WaitForModules() {
        while (!table_.WaitUntilEmpty(std::chrono::steady_clock::now() + kCloseWait))
            log_.Log(2, "Stop", "modules are still busy with players");
    }

    std::vector<IoThread*> IoThreads() {
        std::vector<IoThread*> threads;
        for (auto& thread : io_)
            threads.push_back(&thread);
        return threads;
    }

    ILogHandler& log_;
    const SendLimits limits_;
    const HttpAccess access_;
    const std::string advertised_;
    StreamTotals totals_;
    std::unique_ptr<StreamModules> modules_;
    std::unique_ptr<PlayerContext> players_;
    std::unique_ptr<HttpContext> http_;
    // The order of destruction counts: workers' queues and the I/O threads' loops hold sessions and
    // players, whose sockets belong to the loops and whose lanes belong to the pool of lanes.
    boost::asio::thread_pool lanes_{kLanes};
    std::vector<IoThread> io_;
    ConnectionTable table_;
    FanOut fanOut_{table_};
    boost::asio::thread_pool workers_{kWorkers};
    boost::asio::thread_pool readers_{kReaders};
    Listener listener_;
    bool stopped_ = false;
};

StreamServer::StreamServer(const HttpConfig& config, ILogHandler& log, const SendLimits& limits)
    : impl_(std::make_unique<Impl>(config, log, limits)) {
    OfferFanOut(this, this);
}

StreamServer::~StreamServer() {
    OfferFanOut(this, nullptr);
}

void StreamServer::Start(std::vector<IStreamModule*> modules, HttpHandler handler) {
    impl_->Start(std::move(modules), std::move(handler));
}

void StreamServer::Stop() {
    impl_->Stop();
}

int StreamServer::Port() const {
    return impl_->Port();
}

std::vector<PlayerInfo> StreamServer::Players() const {
    std::vector<PlayerInfo> players;
    for (const auto& player : impl_->Table().All())
        players.push_back(player->Describe());
    return players;
}

StreamSummary StreamServer::Summary() const {
    const StreamTotals& totals = impl_->Totals();
    size_t connected = 0;
    const SendCounts sent = impl_->Table().Totals(connected);
    return {totals.players,    totals.requests,    sent.sentUnits, sent.sentBytes,
            sent.droppedUnits, totals.slowPlayers, connected};
}

int StreamServer::SendData(long long connectionId, const char* data, int length, bool isPlayback) {
    if (data == nullptr || length <= 0)
        return -1;
    const auto player = impl_->Table().Find(connectionId);
    if (player == nullptr)
        return -1;
    const std::string_view unit(data, static_cast<size_t>(length));
    return player->SendUnit(unit, KindOfUnit(data, unit.size()), isPlayback) ? 0 : -1;
}

int StreamServer::SendToAll(const long long* connectionIds, size_t count, const char* data,
                            int length, bool isPlayback, std::vector<long long>& failed) noexcept
    try {
    if (data == nullptr || length <= 0) {
        failed.insert(failed.end(), connectionIds, connectionIds + count);
        return -1;
    }
    return impl_->Bursts().Send(connectionIds, count, {data, static_cast<size_t>(length)},
                                isPlayback, failed);
} catch (const std::exception& error) {
    impl_->Log().Log(2, "SendToAll", "a unit is lost: %s", error.what());
    return -1;
}

int StreamServer::SendCommand(long long connectionId, __tagTvCommand* command) {
    const auto player = impl_->Table().Find(connectionId);
    if (player == nullptr || command == nullptr)
        return -1;
    return player->SendText(PlayerMessage(*command)) ? 0 : -1;
}

void StreamServer::CloseConnection(long long connectionId) {
    if (const auto player = impl_->Table().Find(connectionId))
        player->Close("closed by the host");
}

void StreamServer::GetServerAddress(std::string& host, int& port) {
    host = impl_->Advertised();
    port = impl_->Port();
}

int StreamServer::QueryDataCount(long long connectionId) {
    const auto player = impl_->Table().Find(connectionId);
    return player == nullptr ? -1 : static_cast<int>(player->Counts().queuedUnits);
}

}  // namespace vms
