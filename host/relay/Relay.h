#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "host/relay/GopCache.h"
#include "host/relay/Outlet.h"
#include "host/stream/Receiver.h"
#include "platform/Mutex.h"

namespace vms::host {

/// One live stream on its way to all who watch it: to the modules it is one numbered player; what
/// they send it goes, parsed and copied once, to the outlets, and the newest group of pictures is
/// kept for those who come later. Thread-safe; no call waits.
///
/// A module greets its player with key pictures it has kept. What then comes may lie later in their
/// group: such pictures are held back until they continue a picture that has been sent, so that
/// nobody sees a broken one.
class Relay final : public Receiver {
public:
    using Clock = std::chrono::steady_clock;
    using Now = Clock::time_point (*)();

    /// Pictures are held back no longer than this: a stream may have hardly any key pictures.
    static constexpr std::chrono::seconds kLongestHold{10};

    Relay(long long number, std::string key, const GopLimits& limits = {}, Now now = &Clock::now);

    const std::string& Key() const { return key_; }

    /// Whoever asks the modules for the stream says so, and when they have answered: what the same
    /// thread brings meanwhile are kept pictures.
    void BeginGreeting() VMS_EXCLUDES(mutex_);
    void EndGreeting() VMS_EXCLUDES(mutex_);

    /// Uses the outlet of that kind; a new one is given the newest group first.
    /// @param make, use called under the relay's lock; must not wait
    template <class Make, class Use>
    void WithOutlet(const std::string& kind, Make make, Use use) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        std::shared_ptr<Outlet>& outlet = outlets_[kind];
        if (outlet == nullptr) {
            outlet = make();
            Prime(*outlet);
        }
        use(*outlet);
        if (outlet->Counts().clients == 0)
            outlets_.erase(kind);
    }

    /// Ends all outlets.
    void End(const std::string& reason) VMS_EXCLUDES(mutex_);

    /// Since the last unit came, or since the relay was made.
    Clock::duration Silence() const VMS_EXCLUDES(mutex_);

    OutletCounts Counts() const VMS_EXCLUDES(mutex_);

    // As the modules see it:
    long long Number() const override { return number_; }
    bool SendUnit(std::string_view unit, bool isPlayback) override VMS_EXCLUDES(mutex_);
    bool SendCommand(const __tagTvCommand& command) override VMS_EXCLUDES(mutex_);
    /// The relay never keeps a source waiting: slow clients lose units of their own.
    int QueuedUnits() const override { return 0; }
    void Close(const std::string& reason) override { End(reason); }

private:
    enum class Pictures {
        kFlow,
        kGreeted,  ///< the last one was kept by the module: is the next one its successor?
        kHeld,     ///< they continue nothing that was sent
    };

    void Prime(Outlet& outlet) VMS_REQUIRES(mutex_);
    bool Greet(const MediaUnit& unit) VMS_REQUIRES(mutex_);
    bool MayPass(const MediaUnit& unit) VMS_REQUIRES(mutex_);

    const long long number_;
    const std::string key_;
    const Now now_;

    mutable Mutex mutex_;
    std::map<std::string, std::shared_ptr<Outlet>> outlets_ VMS_GUARDED_BY(mutex_);  ///< by kind
    GopCache<MediaUnit> group_ VMS_GUARDED_BY(mutex_);
    Clock::time_point lastUnit_ VMS_GUARDED_BY(mutex_);
    uint64_t takenUnits_ VMS_GUARDED_BY(mutex_) = 0;
    std::thread::id greeter_ VMS_GUARDED_BY(mutex_);  ///< none = nobody greets
    Pictures pictures_ VMS_GUARDED_BY(mutex_) = Pictures::kFlow;
    Clock::time_point heldSince_ VMS_GUARDED_BY(mutex_);
    uint32_t greetingSerial_ VMS_GUARDED_BY(mutex_) = 0;
    uint32_t nextSerial_ VMS_GUARDED_BY(mutex_) = 0;
};

}  // namespace vms::host
