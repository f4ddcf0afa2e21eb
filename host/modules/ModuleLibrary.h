#pragma once

#include <memory>
#include <string>

class ICommandBus;
class IModule;
class ILogHandler;
class IStreamModule;

namespace vms::host {

/// A loaded module library and its module. Used by one thread at a time.
///
/// Destruction ends a started module (UnInit, which may take seconds), takes its handlers off the
/// bus and unloads the library.
class ModuleLibrary {
public:
    /// Loads a library and finds its module. The entry point must come from this very file: the
    /// dynamic linker would otherwise hand over the one of a library it depends on.
    /// @param path absolute or relative to the working directory
    /// @param bus  the module's bus; must outlive this object
    /// @throws HostError
    ModuleLibrary(const std::string& path, ICommandBus& bus);
    ~ModuleLibrary();
    ModuleLibrary(const ModuleLibrary&) = delete;
    ModuleLibrary& operator=(const ModuleLibrary&) = delete;

    /// Sets the log sink and starts the module; once. @param log must outlive this object
    /// @return false when the module refused
    [[nodiscard]] bool Init(const std::string& name, const std::string& config, ILogHandler& log);

    /// The started module's periodic work; an exception it throws is logged.
    void OnTimer();

    const std::string& Name() const { return name_; }
    const std::string& Path() const { return path_; }
    IModule* Module() const { return module_; }
    /// The same module's stream side; null when it has none.
    IStreamModule* StreamModule() const { return streamModule_; }

private:
    struct Unloader {
        void operator()(void* handle) const;
    };

    void Guarded(const char* function, void (*work)(IModule&)) noexcept;

    std::string path_;
    ICommandBus& bus_;
    std::unique_ptr<void, Unloader> handle_;
    IModule* module_;              ///< owned by the library
    IStreamModule* streamModule_;  ///< owned by the library, may be null
    std::string name_;
    ILogHandler* log_ = nullptr;
    bool started_ = false;
};

}  // namespace vms::host
