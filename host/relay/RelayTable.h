#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/relay/Relay.h"
#include "host/stream/ReceiverTable.h"
#include "host/stream/StreamModules.h"
#include "platform/Mutex.h"

namespace vms::host {

/// How a relay goes.
struct RelayInfo {
    std::string key;
    OutletCounts counts;
};

/// The live streams that are watched, by their keys: each is asked of the modules once, however
/// many watch it, and given back when the last one has left. Thread-safe. Acquire and Release wait
/// for the modules: not on an I/O thread.
class RelayTable {
public:
    /// @param modules, receivers must outlive the table
    RelayTable(StreamModules& modules, ReceiverTable& receivers, const GopLimits& limits = {},
               Relay::Now now = &Relay::Clock::now)
        : modules_(modules), receivers_(receivers), limits_(limits), now_(now) {}

    /// A share of the stream of that key, to be released. @return null when no module has it
    std::shared_ptr<Relay> Acquire(const std::string& key) VMS_EXCLUDES(mutex_);

    /// Gives a share back; its outlets' clients have left.
    void Release(const std::shared_ptr<Relay>& relay) VMS_EXCLUDES(mutex_);

    std::vector<RelayInfo> List() const VMS_EXCLUDES(mutex_);

private:
    struct Entry {
        std::shared_ptr<Relay> relay;  ///< null while the modules are asked
        size_t shares = 0;
    };

    std::shared_ptr<Relay> Share(const std::string& key) VMS_EXCLUDES(mutex_);
    std::shared_ptr<Relay> Start(const std::string& key) VMS_EXCLUDES(mutex_);
    bool IsStillThere(const std::string& key);
    int Request(long long number, int command, const std::string& key);

    StreamModules& modules_;
    ReceiverTable& receivers_;
    const GopLimits limits_;
    const Relay::Now now_;
    mutable Mutex mutex_;
    CondVar started_;
    std::map<std::string, Entry> entries_ VMS_GUARDED_BY(mutex_);
    /// Their stream has gone; who watches them does not know yet.
    std::map<const Relay*, Entry> orphans_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::host
