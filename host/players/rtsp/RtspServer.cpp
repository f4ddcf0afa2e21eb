#include "host/players/rtsp/RtspServer.h"

#include <utility>

#include "host/http/HttpPlaces.h"
#include "host/players/rtsp/RtspClient.h"
#include "host/players/rtsp/RtspSession.h"

namespace vms::host {

class RtspServer::Impl {
public:
    Impl(PlayerContext& context, RtspAccess& access, const RtspSettings& settings)
        : shared_(new RtspShared{context, access, settings}),
          places_(std::make_shared<HttpPlaces>(settings.connections)) {}

    void Serve(std::unique_ptr<Wire> wire, IoThread& io) {
        std::make_shared<RtspClient>(shared_, places_, std::move(wire), io)->Start();
    }

    void Stop() {
        places_->Close();
        places_->WaitUntilClosed();
    }

    size_t Connections() const { return places_->Taken(); }

private:
    const std::shared_ptr<RtspShared> shared_;
    const std::shared_ptr<HttpPlaces> places_;
};

RtspServer::RtspServer(PlayerContext& context, RtspAccess& access, const RtspSettings& settings)
    : impl_(std::make_unique<Impl>(context, access, settings)) {}

RtspServer::~RtspServer() {
    Stop();
}

void RtspServer::Serve(std::unique_ptr<Wire> wire, IoThread& io) {
    impl_->Serve(std::move(wire), io);
}

void RtspServer::Stop() {
    impl_->Stop();
}

size_t RtspServer::Connections() const {
    return impl_->Connections();
}

}  // namespace vms::host
