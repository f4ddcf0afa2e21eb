#include "host/net/OpenSsl.h"

#include <openssl/err.h>

#include "host/text/HostError.h"

namespace vms::host {

BioPointer BioOf(const std::string& text) {
    BioPointer bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    if (bio == nullptr)
        FailTls("no memory");
    return bio;
}

int NoPassphrase(char* /*buffer*/, int /*size*/, int /*isWriting*/, void* /*context*/) {
    return -1;
}

void FailTls(const std::string& problem) {
    const unsigned long code = ERR_peek_last_error();
    const char* const reason = code == 0 ? nullptr : ERR_reason_error_string(code);
    ERR_clear_error();
    throw HostError(reason == nullptr ? problem : problem + " (" + reason + ")");
}

}  // namespace vms::host
