#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace vms {

/// The continuity counters of a transport stream (ISO 13818-1, 2.4.3.3): packets are numbered anew,
/// so that the numbers go on whoever has written them. Thread-bound.
class TransportCounters {
public:
    static constexpr size_t kPacket = 188;

    /// @param packets whole ones
    void Renumber(std::string& packets);

    /// Packets without payload that say, for each stream so far, that what comes next need not
    /// follow what has been received: for who has lost some in between.
    std::string Gap() const;

private:
    std::map<uint16_t, uint8_t> last_;  ///< number of the last packet with a payload, by PID
};

}  // namespace vms
