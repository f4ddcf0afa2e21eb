#pragma once

#include <boost/asio/steady_timer.hpp>

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "host/http/HttpPlaces.h"
#include "host/players/rtsp/RtspRequestReader.h"
#include "host/players/rtsp/RtspSession.h"

namespace vms::host {

/// One connection of an RTSP player: its requests, one after the other, and how long it may take
/// over what it does. Of the connection's I/O thread; keeps itself alive until it is closed.
class RtspClient : public std::enable_shared_from_this<RtspClient> {
public:
    RtspClient(std::shared_ptr<RtspShared> shared, std::shared_ptr<HttpPlaces> places,
               std::unique_ptr<Wire> wire, IoThread& io);

    /// Serves from here on, if there is a place.
    void Start();

    /// Ends it, whatever goes on.
    void Close();

private:
    using Clock = std::chrono::steady_clock;

    template <class Function>
    std::function<void()> Event(Function function);

    void TakePlace(std::shared_ptr<HttpPlaces::Place> place);
    void Read();
    void OnRead(boost::system::error_code error, size_t count);
    void Process();
    void OnRequest();
    bool IsLetIn();
    void OnVerdict(const RtspVerdict& verdict);
    void Carry();
    void Answer(RtspAnswer answer);
    void Through();
    void Next();
    void Refuse(int status);
    void OnTooSlow();
    void Finish();
    void OnAllSent();

    void TickLater();
    void Tick();
    bool IsSilent(Clock::time_point now);
    bool TakesNothing(Clock::time_point now);

    const std::shared_ptr<RtspShared> shared_;
    const std::shared_ptr<HttpPlaces> places_;
    IoThread& io_;
    std::unique_ptr<Wire> wire_;  ///< until there is a connection
    std::shared_ptr<HttpPlaces::Place> place_;
    std::shared_ptr<Connection> connection_;
    std::shared_ptr<RtspSession> session_;
    Peer peer_;
    boost::asio::steady_timer timer_;

    std::array<char, 4096> room_{};  ///< where the wire puts what comes
    std::string input_;              ///< what has come and not been taken
    RtspRequestReader reader_;
    RtspRequest request_;               ///< under way
    bool isBusy_ = false;               ///< a request is under way
    std::optional<RtspTarget> wanted_;  ///< the stream that it names
    std::optional<RtspTarget> letIn_;   ///< to what
    int64_t letInUntil_ = 0;            ///< s since the epoch, 0 = for good
    bool isReading_ = false;
    bool isEnding_ = false;  ///< what waits is still sent
    bool isOver_ = false;
    Clock::time_point heard_;      ///< when something whole last came
    Clock::time_point halfSince_;  ///< when what is in the input began to wait for its rest
    bool isHalf_ = false;
    Clock::time_point endingSince_;
    uint64_t sentBytes_ = 0;        ///< when last looked at
    Clock::time_point progressAt_;  ///< when that had changed
};

}  // namespace vms::host
