#include "media/mux/ElementaryStream.h"

namespace vms {

void ElementaryStream::Take(const MediaUnitHeader& header, std::string_view payload) {
    if (header.Codec() == codec_)
        bytes_->Write(payload);
}

}  // namespace vms
