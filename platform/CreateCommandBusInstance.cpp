#include "platform/CreateCommandBusInstance.h"

#include <openssl/crypto.h>

#include "platform/CommandBusStats.h"
#include "platform/bus/CommandBus.h"

namespace {

/// Handlers use OpenSSL on the bus's threads. Set up first, it is torn down last: after those
/// threads have been joined and have given their per-thread state back.
[[maybe_unused]] const int openSslReady =
    OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr);

/// Made when the library is loaded and so, whatever modules are loaded later, destroyed after them.
vms::CommandBus commandBus;

}  // namespace

ICommandBus* CreateCommandBusInstance() {
    return &commandBus;
}

namespace vms {

void SetCommandBusLog(ILogHandler* log) {
    commandBus.SetLog(log);
}

CommandBusStats GetCommandBusStats() {
    return commandBus.Stats();
}

}  // namespace vms
