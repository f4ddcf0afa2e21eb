#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/modules/BusClient.h"

namespace vms::host {

/// The movements that the API has begun and nobody has ended: each is stopped when its time is up,
/// and at the latest with this object, so that a client that goes away leaves no camera turning.
/// Thread-safe; nothing but the destructor waits, a second at most.
class PtzMoves {
public:
    using Clock = std::chrono::steady_clock;

    /// What moves: a channel's head, or one of its lenses.
    struct Part {
        std::string device;
        int channel = 0;
        int operation = 0;  ///< as modules number them: 0 turn, 1 zoom, 2 focus, 3 iris

        auto operator<=>(const Part&) const = default;
    };

    static constexpr size_t kMost = 4096;  ///< movements at a time
    /// A stop that fails is tried again so often, a second apart.
    static constexpr int kTries = 5;

    /// @param bus must outlive this object
    explicit PtzMoves(BusClient& bus);
    ~PtzMoves();
    PtzMoves(const PtzMoves&) = delete;
    PtzMoves& operator=(const PtzMoves&) = delete;

    /// A movement is about to begin; takes the place of one of the same part.
    /// @param stop ends it @return a number for Ended, 0 = too much moves already
    [[nodiscard]] uint64_t Begin(const Part& part, BusRequest stop,
                                 std::chrono::milliseconds duration);

    /// It has not begun, or has been stopped.
    void Ended(const Part& part, uint64_t number);

    /// Stops it as if its time were up.
    void StopNow(const Part& part, uint64_t number);

    struct Moving {
        Part part;
        uint64_t number = 0;
    };

    /// What moves on a channel.
    std::vector<Moving> MovingOn(const std::string& device, int channel) const;

private:
    class Table;

    void Run();

    BusClient& bus_;
    const std::shared_ptr<Table> table_;  ///< shared with answers that are under way
    std::thread thread_;                  ///< last: uses all of the above
};

}  // namespace vms::host
