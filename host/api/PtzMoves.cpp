#include "host/api/PtzMoves.h"

#include <algorithm>
#include <map>
#include <utility>

#include "host/modules/BusPost.h"
#include "platform/Mutex.h"

namespace vms::host {
namespace {

constexpr std::chrono::seconds kRetry(1);
constexpr std::chrono::seconds kLastWait(1);  ///< for the stops of the end

/// Counts what has still to end. Thread-safe.
class Ends {
public:
    explicit Ends(size_t count) : count_(count) {}

    void CountDown() VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        --count_;
        changed_.NotifyAll();
    }

    void Wait(PtzMoves::Clock::time_point deadline) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        while (count_ > 0) {
            if (!changed_.WaitUntil(mutex_, deadline))
                return;
        }
    }

private:
    Mutex mutex_;
    CondVar changed_;
    size_t count_ VMS_GUARDED_BY(mutex_);
};

struct Move {
    BusRequest stop{};
    PtzMoves::Clock::time_point deadline;
    int triesLeft = PtzMoves::kTries;
    uint64_t number = 0;  ///< tells this one from its successors
};

}  // namespace

/// What moves. Thread-safe.
class PtzMoves::Table {
public:
    uint64_t Begin(const Part& part, BusRequest stop, std::chrono::milliseconds duration)
        VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        if (moves_.size() >= kMost && moves_.count(part) == 0)
            return 0;
        moves_[part] = {std::move(stop), Clock::now() + duration, kTries, ++lastNumber_};
        changed_.NotifyAll();
        return lastNumber_;
    }

    void Ended(const Part& part, uint64_t number) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        const auto move = moves_.find(part);
        if (move != moves_.end() && move->second.number == number)
            moves_.erase(move);
    }

    void StopNow(const Part& part, uint64_t number) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        const auto move = moves_.find(part);
        if (move == moves_.end() || move->second.number != number)
            return;
        move->second.deadline = std::min(move->second.deadline, Clock::now());
        changed_.NotifyAll();
    }

    std::vector<Moving> MovingOn(const std::string& device, int channel) VMS_EXCLUDES(mutex_) {
        std::vector<Moving> moving;
        MutexLock lock(mutex_);
        for (auto move = moves_.lower_bound({device, channel, 0});
             move != moves_.end() && move->first.device == device && move->first.channel == channel;
             ++move)
            moving.push_back({move->first, move->second.number});
        return moving;
    }

    /// Waits for a movement whose time is up. It stays in the table until it has been stopped.
    /// @return false = the end
    bool TakeDue(Part& part, Move& move) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        while (!ended_) {
            const auto next = std::min_element(
                moves_.begin(), moves_.end(), [](const auto& one, const auto& other) {
                    return one.second.deadline < other.second.deadline;
                });
            if (next == moves_.end() || next->second.deadline == Clock::time_point::max()) {
                changed_.Wait(mutex_);
            } else if (next->second.deadline > Clock::now()) {
                const auto deadline = next->second.deadline;  // the entry may go meanwhile
                changed_.WaitUntil(mutex_, deadline);
            } else {
                part = next->first;
                move = next->second;
                next->second.deadline = Clock::time_point::max();
                return true;
            }
        }
        return false;
    }

    void Stopped(const Part& part, uint64_t number, bool isDone) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        const auto move = moves_.find(part);
        if (move == moves_.end() || move->second.number != number)
            return;
        if (isDone || --move->second.triesLeft == 0) {
            moves_.erase(move);
            return;
        }
        move->second.deadline = Clock::now() + kRetry;
        changed_.NotifyAll();
    }

    /// @return what still moved
    std::map<Part, Move> End() VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        ended_ = true;
        changed_.NotifyAll();
        return std::exchange(moves_, {});
    }

private:
    Mutex mutex_;
    CondVar changed_;
    std::map<Part, Move> moves_ VMS_GUARDED_BY(mutex_);
    uint64_t lastNumber_ VMS_GUARDED_BY(mutex_) = 0;
    bool ended_ VMS_GUARDED_BY(mutex_) = false;
};

PtzMoves::PtzMoves(BusClient& bus)
    : bus_(bus), table_(std::make_shared<Table>()), thread_([this] { Run(); }) {}

/// By now the bus client may wait for no more answers, but the bus still takes requests. The
/// modules end next, so they are given a moment to tell their devices.
PtzMoves::~PtzMoves() {
    const auto left = table_->End();
    thread_.join();
    const auto ends = std::make_shared<Ends>(left.size());
    for (const auto& [part, move] : left) {
        const int64_t serial = PostRequest(
            bus_.Bus(), move.stop, [](const __tagTvCommand&) {},
            [ends](bool) { ends->CountDown(); });
        if (serial <= 0)
            ends->CountDown();
    }
    ends->Wait(Clock::now() + kLastWait);
}

uint64_t PtzMoves::Begin(const Part& part, BusRequest stop, std::chrono::milliseconds duration) {
    return table_->Begin(part, std::move(stop), duration);
}

void PtzMoves::Ended(const Part& part, uint64_t number) {
    table_->Ended(part, number);
}

void PtzMoves::StopNow(const Part& part, uint64_t number) {
    table_->StopNow(part, number);
}

std::vector<PtzMoves::Moving> PtzMoves::MovingOn(const std::string& device, int channel) const {
    return table_->MovingOn(device, channel);
}

void PtzMoves::Run() {
    Part part;
    Move move;
    while (table_->TakeDue(part, move)) {
        const auto onEnd = [table = table_, part, number = move.number](const Answer& answer) {
            table->Stopped(part, number, answer.Succeeded());
        };
        bus_.AskAsync(move.stop, {.onAnswer = {}, .onEnd = onEnd, .hold = nullptr});
    }
}

}  // namespace vms::host
