#include "host/net/WireListener.h"

#include <utility>

#include "host/net/PlainWire.h"

namespace vms::host {

WireListener::WireListener(const std::string& host, int port, const std::vector<IoThread*>& threads,
                           std::shared_ptr<TlsContext> tls, ILogHandler& log,
                           const TlsLimits& limits)
    : tls_(std::move(tls)),
      threads_(threads),
      limits_(limits),
      doorThread_(tls_ == nullptr ? nullptr : std::make_unique<IoThread>()),
      listener_(host, port, doorThread_ == nullptr ? threads : std::vector{doorThread_.get()},
                log) {}

WireListener::~WireListener() {
    Stop();
}

void WireListener::Start(WireSink sink) {
    if (tls_ == nullptr) {
        listener_.Start([sink = std::move(sink)](Listener::Socket socket, IoThread& io) {
            sink(MakePlainWire(std::move(socket)), io);
        });
        return;
    }
    door_ = std::make_unique<TlsDoor>(*tls_, *doorThread_, threads_, std::move(sink), limits_);
    listener_.Start(
        [this](Listener::Socket socket, IoThread&) { door_->Admit(std::move(socket)); });
}

void WireListener::Stop() {
    if (std::exchange(stopped_, true))
        return;
    listener_.Stop();
    if (doorThread_ != nullptr)
        doorThread_->Stop();
    if (door_ != nullptr)
        door_->Close();
}

TlsCounts WireListener::Handshakes() const {
    return door_ == nullptr ? TlsCounts{} : door_->Counts();
}

}  // namespace vms::host
