#pragma once

#include <memory>
#include <string>

#include "host/players/whep/WhepPlugin.h"
#include "platform/Mutex.h"

class ILogHandler;

namespace vms::host {

/// The library that speaks WebRTC; it is loaded when it is first needed. Thread-safe.
class WhepLibrary {
public:
    /// @param path where it is if it is installed @param log must outlive this object
    WhepLibrary(std::string path, ILogHandler& log) : path_(std::move(path)), log_(log) {}

    /// Waits for what is ending. All sessions must have been dropped.
    ~WhepLibrary();
    WhepLibrary(const WhepLibrary&) = delete;
    WhepLibrary& operator=(const WhepLibrary&) = delete;

    /// Whether there is a library to load.
    bool IsInstalled() const;

    /// Loads it the first time, which takes some ten milliseconds: not on a thread that must not
    /// wait. @return null when it does not load here, which has been logged
    whep::Engine* Engine() VMS_EXCLUDES(mutex_);

private:
    std::unique_ptr<whep::Engine> Load() const;

    const std::string path_;
    ILogHandler& log_;
    Mutex mutex_;
    bool isLoaded_ VMS_GUARDED_BY(mutex_) = false;  ///< or has been tried to be
    std::unique_ptr<whep::Engine> engine_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::host
