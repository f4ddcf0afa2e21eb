#pragma once

#include <string>
#include <string_view>

namespace vms {

/// The same baseline picture in colour, to the last bit, coded with the standard Huffman tables,
/// the first quantization table for brightness and the second for colour, without restart markers.
/// Re-entrant. @return "" when it cannot be read @throws std::bad_alloc
std::string RewriteJpeg(std::string_view picture);

}  // namespace vms
