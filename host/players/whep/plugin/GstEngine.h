#pragma once

#include <list>
#include <memory>
#include <string>

#include "host/players/whep/WhepPlugin.h"
#include "host/players/whep/plugin/Peer.h"
#include "host/players/whep/plugin/Worker.h"

namespace vms::whep {

/// Sessions on pipelines of GStreamer's webrtcbin. One worker builds, watches and ends them all.
class GstEngine final : public Engine {
public:
    /// @param log must outlive this object @throws std::system_error
    explicit GstEngine(ILogHandler& log);
    ~GstEngine() override;

    std::shared_ptr<Session> Open(const SessionRequest& request,
                                  std::shared_ptr<SessionEvents> events) noexcept override;

private:
    class Handle;

    void WarmUp();
    void OpenPeer(const std::shared_ptr<Peer>& peer, const SessionRequest& request);
    void Look();
    void CloseDropped(bool all);

    ILogHandler& log_;
    std::string problem_;                     ///< of the worker; "" = all elements are there
    std::list<std::shared_ptr<Peer>> peers_;  ///< of the worker
    std::unique_ptr<Worker> worker_;          ///< the last member: its thread uses the others
};

}  // namespace vms::whep
