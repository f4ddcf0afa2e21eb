#include "host/players/http/ContainerOutlet.h"

#include <memory>
#include <string>
#include <utility>

namespace vms::host {
namespace {

Chunk ChunkOf(LivePiece piece) {
    const auto bytes = std::make_shared<const std::string>(std::move(piece.bytes));
    const std::string_view all = *bytes;
    Chunk chunk;
    chunk.body = all.substr(piece.gapBytes);
    chunk.resume = all.substr(0, piece.gapBytes);
    chunk.owner = bytes;
    chunk.kind = piece.kind;
    chunk.timestampMs = piece.timestampMs;
    return chunk;
}

}  // namespace

void ContainerOutlet::Pack(const MediaUnit& unit, Packed& packed) {
    muxer_.Take(unit, pieces_);
    if (muxer_.Beginnings() != beginnings_) {
        if (beginnings_ > 0)
            packed.ending = "the stream has changed";
        beginnings_ = muxer_.Beginnings();
        if (!muxer_.Head().empty())
            head_ = CopyChunk({}, muxer_.Head());
    }
    for (LivePiece& piece : pieces_)
        packed.chunks.push_back(ChunkOf(std::move(piece)));
    pieces_.clear();
}

}  // namespace vms::host
