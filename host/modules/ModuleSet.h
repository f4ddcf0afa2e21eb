#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "host/config/HostConfig.h"
#include "host/modules/BusClient.h"
#include "host/modules/ModuleLibrary.h"
#include "host/process/LogSink.h"

class IStreamConnectionController;
class IStreamModule;

namespace vms::host {

/// The modules the host runs. Used by one thread at a time, except that OnTimer may run on another
/// one once every module has been started.
class ModuleSet {
public:
    /// @param log sink of all modules; bus and log must outlive this object
    ModuleSet(BusClient& bus, LogSink& log) : bus_(bus), log_(log) {}

    /// Modules started from now on get the stream server before they are started.
    /// @param controller not owned; must outlive the modules
    void SetStreams(IStreamConnectionController& controller) { streams_ = &controller; }

    /// Loads and starts a module and hands it its devices. Their passwords are masked in the log.
    /// @throws HostError; the module is then not part of the set
    void Start(const ModuleConfig& config);

    /// The stream sides of the modules that have one, in the order of starting.
    std::vector<IStreamModule*> StreamModules() const;

    /// Gives every module its turn, in the order of starting.
    void OnTimer();

    /// Ends and unloads all modules side by side, since one may take seconds.
    /// @return false when one had not ended in time: it still runs, so the process must end without
    ///         destroying anything that modules use (std::quick_exit)
    [[nodiscard]] bool StopWithin(std::chrono::milliseconds bound);

private:
    void CheckUnused(const ModuleLibrary& library, const std::string& name) const;
    void Enqueue(const ModuleConfig& config);

    BusClient& bus_;
    LogSink& log_;
    IStreamConnectionController* streams_ = nullptr;  ///< null: this process has no players
    std::vector<std::unique_ptr<ModuleLibrary>> modules_;
};

}  // namespace vms::host
