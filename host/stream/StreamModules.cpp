#include "host/stream/StreamModules.h"

#include <memory>

#include "module/IStreamModule.h"
#include "platform/CommandPtr.h"
#include "platform/ILogHandler.h"

namespace vms::host {

/// An exception of a foreign library must not end the host.
template <class Call>
int StreamModules::Guarded(const char* function, Call call) const noexcept {
    try {
        return call();
    } catch (const std::exception& error) {
        log_.Log(3, function, "a module threw: %s", error.what());
    } catch (...) {
        log_.Log(3, function, "a module threw an unknown exception");
    }
    return -1;
}

void StreamModules::OnConnect(long long connection, const std::string& address, int port) {
    for (IStreamModule* module : modules_)
        Guarded("OnConnect", [&] {
            module->OnConnect(connection, address.c_str(), port);
            return 0;
        });
}

void StreamModules::OnClose(long long connection, int reason, const std::string& text) {
    for (IStreamModule* module : modules_)
        Guarded("OnClose", [&] {
            module->OnClose(connection, reason, text.c_str());
            return 0;
        });
}

int StreamModules::OnRequest(long long connection, const PlayerRequest& request) {
    const CommandPtr record(SysCommandHelper::CreateRequestCommand(
        static_cast<__enumTvCommand>(request.command), "vmshost", request.key.c_str(),
        request.body.c_str(), ""));
    for (IStreamModule* module : modules_) {
        const int result = Guarded("OnRecv", [&] {
            return module->OnRecv(connection, record.get(), static_cast<int>(sizeof *record));
        });
        if (result == 0)
            return 0;
    }
    return -1;
}

void StreamModules::OnStream(long long connection, std::string& unit) {
    for (IStreamModule* module : modules_)
        Guarded("OnStream", [&] {
            return module->OnStream(connection, unit.data(), static_cast<int>(unit.size()));
        });
}

}  // namespace vms::host
