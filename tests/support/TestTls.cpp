#include "tests/support/TestTls.h"

#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <poll.h>

#include <csignal>
#include <stdexcept>

namespace vms::test {
namespace {

void TakeNoBrokenPipes() {
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
}

}  // namespace

TestTls::TestTls(int socket, Wait wait, int version)
    : socket_(socket),
      wait_(wait),
      context_(SSL_CTX_new(TLS_client_method())),
      tls_(SSL_new(context_)) {
    if (tls_ == nullptr)
        throw std::runtime_error("no TLS");
    TakeNoBrokenPipes();
    fcntl(socket_, F_SETFL, fcntl(socket_, F_GETFL) | O_NONBLOCK);
    SSL_set_mode(tls_, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    // Versions that a server must refuse are only offered without a security level.
    SSL_set_security_level(tls_, 0);
    SSL_set_min_proto_version(tls_, version);
    SSL_set_max_proto_version(tls_, version);
    SSL_set_fd(tls_, socket_);
    SSL_set_connect_state(tls_);
}

TestTls::~TestTls() {
    SSL_free(tls_);
    SSL_CTX_free(context_);
}

bool TestTls::MayGoOn(int result) {
    const int problem = SSL_get_error(tls_, result);
    ERR_clear_error();
    if (problem != SSL_ERROR_WANT_READ && problem != SSL_ERROR_WANT_WRITE)
        return false;
    late_ = !wait_(socket_, problem == SSL_ERROR_WANT_READ ? POLLIN : POLLOUT);
    return !late_;
}

bool TestTls::Shake() {
    for (;;) {
        const int result = SSL_do_handshake(tls_);
        if (result == 1)
            return true;
        if (!MayGoOn(result))
            return false;
    }
}

/// What a quick peer answers is kept from it meanwhile.
bool TestTls::SendHello() {
    BIO* const nothing = BIO_new(BIO_s_mem());
    BIO_set_mem_eof_return(nothing, -1);
    SSL_set0_rbio(tls_, nothing);
    const int result = SSL_do_handshake(tls_);
    const bool sent = SSL_get_error(tls_, result) == SSL_ERROR_WANT_READ;
    ERR_clear_error();
    SSL_set0_rbio(tls_, BIO_new_socket(socket_, BIO_NOCLOSE));
    return sent;
}

bool TestTls::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        size_t sent = 0;
        const int result = SSL_write_ex(tls_, bytes.data(), bytes.size(), &sent);
        if (result == 1)
            bytes.remove_prefix(sent);
        else if (!MayGoOn(result))
            return false;
    }
    return true;
}

ssize_t TestTls::Receive(char* room, size_t size) {
    for (;;) {
        size_t count = 0;
        const int result = SSL_read_ex(tls_, room, size, &count);
        if (result == 1)
            return static_cast<ssize_t>(count);
        if (!MayGoOn(result))
            return late_ ? -1 : 0;
    }
}

void TestTls::FinishSending() {
    SSL_shutdown(tls_);
    ERR_clear_error();
}

bool TestTls::PeerHasFinished() const {
    return (SSL_get_shutdown(tls_) & SSL_RECEIVED_SHUTDOWN) != 0;
}

std::string TestTls::Fingerprint() const {
    X509* const certificate = SSL_get0_peer_certificate(tls_);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    if (certificate == nullptr || X509_digest(certificate, EVP_sha256(), digest, &size) != 1)
        return "";
    char* const text = OPENSSL_buf2hexstr(digest, size);
    const std::string fingerprint = text;
    OPENSSL_free(text);
    return fingerprint;
}

}  // namespace vms::test
