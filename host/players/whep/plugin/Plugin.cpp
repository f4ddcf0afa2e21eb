#include <exception>

#include "host/players/whep/plugin/GstEngine.h"

/// See CreateWhepEngineFunction.
extern "C" __attribute__((visibility("default"))) vms::whep::Engine* CreateWhepEngine(
    int version, ILogHandler* log) {
    if (version != vms::whep::kPluginVersion || log == nullptr)
        return nullptr;
    try {
        return new vms::whep::GstEngine(*log);
    } catch (const std::exception&) {
        return nullptr;
    }
}
