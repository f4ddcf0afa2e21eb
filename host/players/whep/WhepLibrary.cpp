#include "host/players/whep/WhepLibrary.h"

#include <dlfcn.h>

#include <filesystem>
#include <utility>

#include "platform/ILogHandler.h"

namespace vms::host {

WhepLibrary::~WhepLibrary() = default;

bool WhepLibrary::IsInstalled() const {
    std::error_code error;
    return std::filesystem::is_regular_file(path_, error);
}

whep::Engine* WhepLibrary::Engine() {
    MutexLock lock(mutex_);
    if (!std::exchange(isLoaded_, true))
        engine_ = Load();
    return engine_.get();
}

/// It stays loaded: what it is made of cannot be unloaded.
std::unique_ptr<whep::Engine> WhepLibrary::Load() const {
    void* const handle = dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* const reason = dlerror();
        log_.Log(3, "Whep", "cannot load %s: %s", path_.c_str(),
                 reason != nullptr ? reason : "no reason");
        return nullptr;
    }
    const auto create =
        reinterpret_cast<CreateWhepEngineFunction>(dlsym(handle, "CreateWhepEngine"));
    std::unique_ptr<whep::Engine> engine(create == nullptr ? nullptr
                                                           : create(whep::kPluginVersion, &log_));
    if (engine == nullptr) {
        log_.Log(3, "Whep", "%s is not of this build", path_.c_str());
        dlclose(handle);
    }
    return engine;
}

}  // namespace vms::host
