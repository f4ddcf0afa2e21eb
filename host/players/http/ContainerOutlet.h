#pragma once

#include <optional>
#include <vector>

#include "host/relay/ClientOutlet.h"
#include "media/mux/LiveMuxer.h"

namespace vms::host {

/// The players of a live stream in one container: it is written once, and all get the same bytes.
class ContainerOutlet final : public ClientOutlet {
public:
    /// @param bursts must outlive the outlet
    ContainerOutlet(Bursts& bursts, LiveContainer container)
        : ClientOutlet(bursts), muxer_(container) {}

    /// Sound of that kind will come. Not while a unit is taken.
    void Expect(const AacConfig& sound) { muxer_.Expect(sound); }

    /// Whether newcomers can begin to read. Not while a unit is taken.
    bool IsReady() const { return beginnings_ > 0; }

private:
    void Pack(const MediaUnit& unit, Packed& packed) override;
    std::optional<Chunk> Head() const override { return head_; }
    /// Whoever reads a container plays it from where he begins, with its sound.
    bool GivesAllSound() const override { return true; }
    void TellClient(Connection&, const __tagTvCommand&) override {}

    LiveMuxer muxer_;
    std::vector<LivePiece> pieces_;
    std::optional<Chunk> head_;
    int beginnings_ = 0;  ///< of the muxer, when last seen
};

}  // namespace vms::host
