#pragma once

#include <csignal>
#include <string>

struct soap;

namespace vms {

/// Readies a fresh SOAP context: texts are UTF-8 both ways, and what is none of it passes byte for
/// byte. For a peer that may be broken or hostile: bounds on message length, nesting, occurrences
/// and whole-transfer time, no SIGPIPE from plain sockets, and header blocks nobody asked for are
/// skipped even if they claim to be mandatory.
void PrepareSoapContext(soap* context);

/// For https addresses: encrypted, but without verifying the certificate, since cameras sign their
/// own. @return false when the TLS layer cannot be set up
bool ApplySoapTls(soap* context, const std::string& address);

/// Whether an address reported by a camera can be spoken to (http or https). Anything else would be
/// taken for a raw TCP endpoint by the SOAP layer.
bool IsHttpAddress(const std::string& address);

/// Keeps SIGPIPE away from the process while TLS writes on this thread, whatever the host's signal
/// set-up is: blocks it and swallows one that became pending.
class SigpipeGuard {
public:
    SigpipeGuard();
    ~SigpipeGuard();
    SigpipeGuard(const SigpipeGuard&) = delete;
    SigpipeGuard& operator=(const SigpipeGuard&) = delete;

private:
    sigset_t previous_;
    bool wasPending_ = false;
};

}  // namespace vms
