#include "media/mux/GrowingBytes.h"

#include <algorithm>
#include <utility>

namespace vms {

void GrowingBytes::Write(std::string_view bytes) {
    const uint64_t end = position_ + bytes.size();
    const uint64_t begin = std::max(position_, taken_);
    position_ = end;
    if (begin >= end)
        return;
    bytes.remove_prefix(bytes.size() - (end - begin));
    if (pending_.size() < end - taken_)
        pending_.resize(end - taken_);
    pending_.replace(begin - taken_, bytes.size(), bytes);
}

std::string GrowingBytes::Take() {
    taken_ += pending_.size();
    return std::exchange(pending_, {});
}

}  // namespace vms
