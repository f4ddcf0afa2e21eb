#include "host/modules/ModuleLibrary.h"

#include <dlfcn.h>
#include <link.h>

#include <filesystem>

#include "host/text/HostError.h"
#include "module/GetModuleInstance.h"
#include "module/ICommandBus.h"
#include "module/IModule.h"
#include "platform/ILogHandler.h"

namespace vms::host {
namespace {

constexpr char kEntryPoint[] = "GetModuleInstance";

std::string ExistingFile(const std::string& path) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        throw HostError("no module library at " + path);
    return std::filesystem::absolute(path).string();
}

void* Open(const std::string& path) {
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        const char* reason = dlerror();
        throw HostError("cannot load " + path + ": " + (reason != nullptr ? reason : "no reason"));
    }
    return handle;
}

/// Whether the symbol was found in the library itself, not in one it depends on.
/// @param owner file that holds the symbol
bool IsOwn(void* handle, void* symbol, std::string& owner) {
    link_map* own = nullptr;
    void* origin = nullptr;
    Dl_info info{};
    if (dlinfo(handle, RTLD_DI_LINKMAP, &own) != 0 ||
        dladdr1(symbol, &info, &origin, RTLD_DL_LINKMAP) == 0)
        return false;
    owner = info.dli_fname;
    return origin == own;
}

IModule* FindModule(void* handle, const std::string& path) {
    void* symbol = dlsym(handle, kEntryPoint);
    if (symbol == nullptr)
        throw HostError(path + " is not a module library: it exports no " + kEntryPoint);
    std::string owner = "an unknown file";
    if (!IsOwn(handle, symbol, owner))
        throw HostError(path + " exports no " + kEntryPoint + "; the one found belongs to " +
                        owner + ", another module");
    IModule* module = reinterpret_cast<decltype(&GetModuleInstance)>(symbol)();
    if (module == nullptr)
        throw HostError(path + ": " + kEntryPoint + " gave no module");
    return module;
}

IStreamModule* FindStreamModule(void* handle) {
    std::string owner;
    void* symbol = dlsym(handle, "GetStreamModuleInstance");
    if (symbol == nullptr || !IsOwn(handle, symbol, owner))
        return nullptr;
    return reinterpret_cast<IStreamModule* (*)()>(symbol)();
}

}  // namespace

void ModuleLibrary::Unloader::operator()(void* handle) const {
    dlclose(handle);
}

ModuleLibrary::ModuleLibrary(const std::string& path, ICommandBus& bus)
    : path_(ExistingFile(path)),
      bus_(bus),
      handle_(Open(path_)),
      module_(FindModule(handle_.get(), path_)),
      streamModule_(FindStreamModule(handle_.get())) {}

ModuleLibrary::~ModuleLibrary() {
    if (started_)
        Guarded("UnInit", [](IModule& module) { module.UnInit(); });
    if (!name_.empty())
        bus_.UnregisterModule(name_.c_str());
}

bool ModuleLibrary::Init(const std::string& name, const std::string& config, ILogHandler& log) {
    name_ = name;
    log_ = &log;
    try {
        module_->SetCallback(&log);
        started_ = module_->Init(name_.c_str(), config.c_str());
    } catch (const std::exception& error) {
        log.Log(3, "Init", "module %s: %s", name_.c_str(), error.what());
    }
    return started_;
}

void ModuleLibrary::OnTimer() {
    Guarded("OnTimer", [](IModule& module) { module.OnTimer(); });
}

/// An exception of a foreign library must not end the host.
void ModuleLibrary::Guarded(const char* function, void (*work)(IModule&)) noexcept {
    try {
        work(*module_);
    } catch (const std::exception& error) {
        log_->Log(3, function, "module %s: %s", name_.c_str(), error.what());
    } catch (...) {
        log_->Log(3, function, "module %s: unknown exception", name_.c_str());
    }
}

}  // namespace vms::host
