#include "onvif/SoapSession.h"

#include <strings.h>
#include <sys/socket.h>

#include <ctime>
#include <mutex>

#include "soapH.h"

namespace vms {
namespace {

constexpr ULONG64 kMaxMessageBytes = 1 << 20;
constexpr unsigned int kMaxNesting = 64;
constexpr size_t kMaxOccurrences = 1024;
constexpr int kTransferTimeoutSeconds = 10;

int SkipUnknownElement(soap*, const char*) {
    return SOAP_OK;
}

bool HasPrefix(const std::string& text, const char* prefix) {
    return strncasecmp(text.c_str(), prefix, std::char_traits<char>::length(prefix)) == 0;
}

bool SigpipePending() {
    sigset_t pending;
    sigemptyset(&pending);
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
}

}  // namespace

void PrepareSoapContext(soap* context) {
    soap_set_mode(context, SOAP_C_UTFSTRING);
    context->recv_maxlength = kMaxMessageBytes;
    context->maxlength = static_cast<long>(kMaxMessageBytes);
    context->maxlevel = kMaxNesting;
    context->maxoccurs = kMaxOccurrences;
    context->transfer_timeout = kTransferTimeoutSeconds;
    context->socket_flags = MSG_NOSIGNAL;
    context->fignore = SkipUnknownElement;
}

bool ApplySoapTls(soap* context, const std::string& address) {
    if (!HasPrefix(address, "https:"))
        return true;
    static std::once_flag initialised;
    std::call_once(initialised, [] { soap_ssl_init(); });
    return soap_ssl_client_context(context, SOAP_SSL_NO_AUTHENTICATION | SOAP_SSL_SKIP_HOST_CHECK,
                                   nullptr, nullptr, nullptr, nullptr, nullptr) == SOAP_OK;
}

bool IsHttpAddress(const std::string& address) {
    return HasPrefix(address, "http://") || HasPrefix(address, "https://");
}

SigpipeGuard::SigpipeGuard() : wasPending_(SigpipePending()) {
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, &previous_);
}

SigpipeGuard::~SigpipeGuard() {
    if (!wasPending_ && SigpipePending()) {
        sigset_t pipe;
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        const timespec now{};
        sigtimedwait(&pipe, nullptr, &now);
    }
    pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
}

}  // namespace vms
