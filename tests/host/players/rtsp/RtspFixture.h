#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/net/Bursts.h"
#include "host/net/Listener.h"
#include "host/net/PlainWire.h"
#include "host/players/PlayerContext.h"
#include "host/players/PlayerTable.h"
#include "host/players/rtsp/RtspServer.h"
#include "tests/host/players/rtsp/RtspTestClient.h"
#include "tests/host/sources/SourcesFixture.h"
#include "tests/media/rtp/RtpTestUnits.h"

namespace vms::host::test {

using vms::test::MediaOf;
using vms::test::Picture;
using vms::test::RtpPacket;
using vms::test::Sound;

/// An RTSP server over a module that remembers, and whose streams the test sends itself.
class RtspFixture : public SourcesFixture {
protected:
    using Headers = RtspTestClient::Headers;

    static constexpr char kLive[] = "rtsp://host/live/hall/0";
    static constexpr char kPlay[] = "rtsp://host/play/hall/0?from=1000&to=2000";

    ~RtspFixture() override {
        if (server_ != nullptr) {
            listener_->Stop();
            server_->Stop();
        }
    }

    void Start(const RtspSettings& settings = {}, RtspAccess* access = nullptr) {
        server_ =
            std::make_unique<RtspServer>(context_, access == nullptr ? open_ : *access, settings);
        listener_ = std::make_unique<Listener>("127.0.0.1", 0, std::vector<IoThread*>{&io_}, log_);
        listener_->Start([this](Listener::Socket socket, IoThread& io) {
            server_->Serve(MakePlainWire(std::move(socket)), io);
        });
    }

    int Port() const { return listener_->Port(); }

    template <class Condition>
    [[nodiscard]] static bool WaitFor(Condition condition) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return true;
    }

    /// Whoever the module has been asked for a stream by last. @return null when nobody came
    std::shared_ptr<Receiver> Asker(int command) {
        const std::string wanted = "request " + std::to_string(command);
        std::shared_ptr<Receiver> found;
        const bool came = WaitFor([&] {
            for (const auto& [number, events] : module_.All()) {
                for (const std::string& event : events) {
                    if (event.starts_with(wanted) && receivers_.Find(number) != nullptr)
                        found = receivers_.Find(number);
                }
            }
            return found != nullptr;
        });
        return came ? found : nullptr;
    }

    /// Sends a unit as the module does.
    static bool Send(Receiver& receiver, const MediaUnit& unit) {
        return receiver.SendUnit(unit.Bytes(), false);
    }

    /// Describes the live stream; meanwhile it sends a key picture and a sound.
    RtspTestClient::Reply Describe(RtspTestClient& client, const std::string& query = "") {
        EXPECT_TRUE(client.socket.Send(RtspTestClient::Text(1, "DESCRIBE", kLive + query)));
        const auto relay = Asker(TV_STREAM_PREVIEW_START);
        if (relay == nullptr)
            return {};
        Send(*relay, Picture(true, 1000, 3000));
        Send(*relay, Sound(1000));
        return client.Next();
    }

    static Headers Inside() { return {{"Transport", "RTP/AVP/TCP;unicast;interleaved=0-1"}}; }

    /// Watches the live stream's tracks inside the connection.
    static void Watch(RtspTestClient& client, const std::vector<int>& tracks = {0, 1},
                      const std::string& query = "") {
        for (const int track : tracks) {
            const std::string uri = kLive + ("/track" + std::to_string(track)) + query;
            EXPECT_EQ(client.Ask("SETUP", uri, Inside()).status, 200);
        }
        EXPECT_EQ(client.Ask("PLAY", kLive + query).status, 200);
    }

    /// Reads until so many packets of media have come. @return them all
    static std::vector<RtpPacket> Packets(RtspTestClient& client, size_t count) {
        while (MediaOf(client.media).size() < count && client.NextPacket()) {
        }
        EXPECT_GE(MediaOf(client.media).size(), count);
        return MediaOf(client.media);
    }

    OpenRtspAccess open_;
    PlayerTable players_;
    Bursts bursts_;
    StreamTotals totals_;
    PlayerContext context_{modules_,
                           receivers_,
                           relays_,
                           live_,
                           playbacks_,
                           players_,
                           bursts_,
                           lanes_,
                           log_,
                           totals_,
                           [](const std::string&) {}};
    IoThread io_;
    std::unique_ptr<RtspServer> server_;
    std::unique_ptr<Listener> listener_;
};

}  // namespace vms::host::test
