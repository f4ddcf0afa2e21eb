#include "platform/websocket/TlsContext.h"

#include <openssl/x509v3.h>

#include <boost/asio/ssl/context.hpp>
#include <cctype>

#include "platform/HostResolver.h"
#include "platform/Mutex.h"
#include "platform/websocket/ClientLog.h"

namespace vms {
namespace {

namespace ssl = boost::asio::ssl;

/// The configuration used last; settings seldom change.
struct Cache {
    Mutex mutex;
    std::shared_ptr<ssl::context> context VMS_GUARDED_BY(mutex);
    bool verify VMS_GUARDED_BY(mutex) = false;
    std::string trusted VMS_GUARDED_BY(mutex);
};

Cache& TheCache() {
    static Cache& cache = *new Cache;
    return cache;
}

std::shared_ptr<ssl::context> MakeContext(const WebSocketSettings& settings) {
    auto context = std::make_shared<ssl::context>(ssl::context::tls_client);
    SSL_CTX_set_session_cache_mode(context->native_handle(), SSL_SESS_CACHE_OFF);
    if (!settings.verifyCertificates) {
        context->set_verify_mode(ssl::verify_none);
        return context;
    }
    context->set_verify_mode(ssl::verify_peer);
    if (settings.trustedCertificates.empty())
        context->set_default_verify_paths();
    else
        context->load_verify_file(settings.trustedCertificates);
    return context;
}

bool IsAddress(const std::string& host) {
    return !HostResolver::Literal(host, 1).empty();
}

}  // namespace

std::shared_ptr<ssl::context> TlsContextFor(const WebSocketSettings& settings) {
    if (!settings.verifyCertificates && settings.certificateFingerprint.empty())
        ClientLog::TlsIsUnverified();
    Cache& cache = TheCache();
    MutexLock lock(cache.mutex);
    if (cache.context == nullptr || cache.verify != settings.verifyCertificates ||
        cache.trusted != settings.trustedCertificates) {
        cache.context = MakeContext(settings);
        cache.verify = settings.verifyCertificates;
        cache.trusted = settings.trustedCertificates;
    }
    return cache.context;
}

bool PrepareTls(SSL* tls, const std::string& host, bool verify) {
    if (IsAddress(host))
        return !verify || X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(tls), host.c_str()) == 1;
    return SSL_set_tlsext_host_name(tls, host.c_str()) == 1 &&
           (!verify || SSL_set1_host(tls, host.c_str()) == 1);
}

bool HasFingerprint(const SSL* tls, const std::string& fingerprint) {
    constexpr char kDigits[] = "0123456789abcdef";
    const X509* const certificate = SSL_get0_peer_certificate(tls);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    if (certificate == nullptr || X509_digest(certificate, EVP_sha256(), digest, &size) != 1)
        return false;
    std::string actual;
    for (unsigned i = 0; i < size; ++i)
        (actual += kDigits[digest[i] >> 4]) += kDigits[digest[i] & 15];
    std::string wanted;
    for (const char letter : fingerprint) {
        if (letter != ':')
            wanted += static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    }
    return actual == wanted;
}

const char* CertificateError(const SSL* tls) {
    const long result = SSL_get_verify_result(tls);
    return result == X509_V_OK ? nullptr : X509_verify_cert_error_string(result);
}

}  // namespace vms
