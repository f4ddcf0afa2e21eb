#include "sim/httpdevice/server/SelfSigned.h"

#include <memory>
#include <stdexcept>

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

namespace vms::sim::httpdevice {

namespace {

constexpr long kYear = 365L * 24 * 3600;

struct Deleter {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(X509* certificate) const { X509_free(certificate); }
    void operator()(BIO* bio) const { BIO_free(bio); }
};
using Key = std::unique_ptr<EVP_PKEY, Deleter>;
using Certificate = std::unique_ptr<X509, Deleter>;
using Bio = std::unique_ptr<BIO, Deleter>;

void Check(bool done) {
    if (!done)
        throw std::runtime_error("making a certificate failed");
}

std::string Contents(BIO* bio) {
    char* data = nullptr;
    const long length = BIO_get_mem_data(bio, &data);
    return {data, static_cast<size_t>(length)};
}

Certificate Sign(EVP_PKEY* key, const std::string& commonName) {
    Certificate certificate(X509_new());
    Check(certificate != nullptr);
    X509* x509 = certificate.get();
    X509_set_version(x509, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(x509), 1);
    X509_gmtime_adj(X509_getm_notBefore(x509), -24 * 3600);
    X509_gmtime_adj(X509_getm_notAfter(x509), kYear);
    X509_NAME* name = X509_get_subject_name(x509);
    const auto* text = reinterpret_cast<const unsigned char*>(commonName.c_str());
    Check(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, text, -1, -1, 0) == 1);
    Check(X509_set_issuer_name(x509, name) == 1 && X509_set_pubkey(x509, key) == 1);
    Check(X509_sign(x509, key, EVP_sha256()) > 0);
    return certificate;
}

}  // namespace

SelfSigned MakeSelfSigned(const std::string& commonName) {
    const Key key(EVP_EC_gen("P-256"));
    Check(key != nullptr);
    const Certificate certificate = Sign(key.get(), commonName);
    const Bio keyText(BIO_new(BIO_s_mem()));
    const Bio certificateText(BIO_new(BIO_s_mem()));
    Check(keyText && certificateText);
    Check(PEM_write_bio_PrivateKey(keyText.get(), key.get(), nullptr, nullptr, 0, nullptr,
                                   nullptr) == 1);
    Check(PEM_write_bio_X509(certificateText.get(), certificate.get()) == 1);
    return {Contents(keyText.get()), Contents(certificateText.get())};
}

}  // namespace vms::sim::httpdevice
