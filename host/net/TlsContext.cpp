#include "host/net/TlsContext.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "host/net/OpenSsl.h"
#include "host/text/HostError.h"

namespace vms::host {
namespace {

/// 128 bits first, which cost less; a client that prefers ChaCha20 has no hardware for AES.
constexpr char kSuites[] =
    "TLS_AES_128_GCM_SHA256:TLS_AES_256_GCM_SHA384:TLS_CHACHA20_POLY1305_SHA256";
constexpr char kCiphers[] =
    "ECDHE+AESGCM+AES128:ECDHE+AESGCM+AES256:ECDHE+CHACHA20:!aNULL:!PSK:!SRP";

constexpr uint64_t kOptions = SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION |
                              SSL_OP_CIPHER_SERVER_PREFERENCE | SSL_OP_PRIORITIZE_CHACHA;

/// Buffers go back while nothing is under way, and what is offered again may have moved.
constexpr long kModes =
    SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER | SSL_MODE_RELEASE_BUFFERS;

/// Whether the kernel can take over sending, asked once, of a socket that is not connected: where
/// it cannot, each question may have it look for a module.
bool HasKernelTls() {
    static const bool has = [] {
        constexpr char kName[] = "tls";
        const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const bool found = probe >= 0 &&
                           setsockopt(probe, IPPROTO_TCP, TCP_ULP, kName, sizeof kName - 1) != 0 &&
                           errno == ENOTCONN;
        if (probe >= 0)
            close(probe);
        return found;
    }();
    return has;
}

/// The first certificate of a text is the host's own, the rest its chain.
void UseCertificates(SSL_CTX* context, const TlsCredentials& credentials) {
    const BioPointer text = BioOf(credentials.certificate);
    const CertificatePointer own(PEM_read_bio_X509_AUX(text.get(), nullptr, NoPassphrase, nullptr));
    if (own == nullptr)
        FailTls(credentials.origin + ": no certificate");
    if (SSL_CTX_use_certificate(context, own.get()) != 1)
        FailTls(credentials.origin + ": the certificate cannot be used");
    while (X509* const next = PEM_read_bio_X509(text.get(), nullptr, NoPassphrase, nullptr)) {
        if (SSL_CTX_add0_chain_cert(context, next) != 1) {
            X509_free(next);
            FailTls(credentials.origin + ": the certificate's chain cannot be used");
        }
    }
}

void UseKey(SSL_CTX* context, const TlsCredentials& credentials) {
    const BioPointer text = BioOf(credentials.key);
    const KeyPointer key(PEM_read_bio_PrivateKey(text.get(), nullptr, NoPassphrase, nullptr));
    if (key == nullptr)
        FailTls(credentials.origin + ": no private key, or one with a passphrase");
    if (SSL_CTX_use_PrivateKey(context, key.get()) != 1)
        FailTls(credentials.origin + ": the key is not the certificate's");
}

/// Sessions are kept by the clients themselves, in tickets: strangers fill no cache.
SSL_CTX* MakeContext(const TlsCredentials& credentials) {
    ERR_clear_error();
    std::unique_ptr<SSL_CTX, SslDeleter> context(SSL_CTX_new(TLS_server_method()));
    if (context == nullptr || SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) != 1 ||
        SSL_CTX_set_ciphersuites(context.get(), kSuites) != 1 ||
        SSL_CTX_set_cipher_list(context.get(), kCiphers) != 1)
        FailTls("TLS cannot be set up");
    SSL_CTX_set_options(context.get(), kOptions | (HasKernelTls() ? SSL_OP_ENABLE_KTLS : 0));
    SSL_CTX_set_mode(context.get(), kModes);
    SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
    SSL_CTX_set_num_tickets(context.get(), 1);
    UseCertificates(context.get(), credentials);
    UseKey(context.get(), credentials);
    ERR_clear_error();
    return context.release();
}

}  // namespace

void SslDeleter::operator()(ssl_st* tls) const {
    SSL_free(tls);
}

void SslDeleter::operator()(ssl_ctx_st* context) const {
    SSL_CTX_free(context);
}

TlsContext::TlsContext(Source source) : source_(std::move(source)) {
    Reload();
}

TlsContext::~TlsContext() = default;

void TlsContext::Reload() {
    const TlsCredentials credentials = source_();
    TlsCertificate certificate = DescribeCertificate(credentials);
    Context context(MakeContext(credentials));
    MutexLock lock(mutex_);
    std::swap(context_, context);
    std::swap(certificate_, certificate);
    lock.Unlock();  // what was before is freed without it
}

TlsCertificate TlsContext::Certificate() const {
    MutexLock lock(mutex_);
    return certificate_;
}

Ssl TlsContext::NewConnection() const {
    MutexLock lock(mutex_);
    Ssl tls(SSL_new(context_.get()));
    if (tls != nullptr)
        SSL_set_accept_state(tls.get());
    return tls;
}

}  // namespace vms::host
