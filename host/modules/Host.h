#pragma once

#include "host/modules/BusClient.h"
#include "host/modules/ModuleSet.h"
#include "host/process/HostSignals.h"
#include "host/process/LogSink.h"

namespace vms::host {

struct HostOptions {
    LogPrinting printing = LogPrinting::kNothing;    ///< to standard error
    WatchedSignals signals = WatchedSignals::kNone;  ///< the command's to handle
};

/// What every command works with: bus, log and modules of this process. Create at most one at a
/// time, before any other thread.
///
/// Destruction waits for the modules to end, up to seconds; a command that is done leaves with
/// std::quick_exit instead.
class Host {
public:
    explicit Host(const HostOptions& options);
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    HostSignals& Signals() { return signals_; }
    BusClient& Bus() { return bus_; }
    LogSink& ModuleLog() { return moduleLog_; }
    ModuleSet& Modules() { return modules_; }

private:
    /// Bus and WebSocket clients get their own sink: error messages quote a module's last line, not
    /// theirs.
    struct PlatformLog {
        explicit PlatformLog(LogPrinting printing);
        ~PlatformLog();
        PlatformLog(const PlatformLog&) = delete;
        PlatformLog& operator=(const PlatformLog&) = delete;
        LogSink sink;
    };

    HostSignals signals_;  ///< first: threads inherit what it blocks
    LogSink moduleLog_;
    PlatformLog platformLog_;
    BusClient bus_;
    ModuleSet modules_;
};

}  // namespace vms::host
