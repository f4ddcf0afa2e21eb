#pragma once

class IModule;

/// Entry point of every module library, found with dlsym. Creates nothing: every call returns the
/// same object, which lives as long as the library is loaded. Any thread.
extern "C" __attribute__((visibility("default"))) IModule* GetModuleInstance();
