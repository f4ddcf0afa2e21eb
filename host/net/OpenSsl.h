#pragma once

// What the sources that speak to OpenSSL share; of no header but this one.

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

namespace vms::host {

struct OpenSslDeleter {
    void operator()(BIO* bio) const { BIO_free_all(bio); }
    void operator()(X509* certificate) const { X509_free(certificate); }
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
using BioPointer = std::unique_ptr<BIO, OpenSslDeleter>;
using CertificatePointer = std::unique_ptr<X509, OpenSslDeleter>;
using KeyPointer = std::unique_ptr<EVP_PKEY, OpenSslDeleter>;

/// Reads from a text, which must outlive it. @throws HostError without memory
BioPointer BioOf(const std::string& text);

/// Stands where OpenSSL would ask a person at the terminal.
int NoPassphrase(char* buffer, int size, int isWriting, void* context);

/// Throws HostError: the problem, with OpenSSL's own words for it if there are any.
[[noreturn]] void FailTls(const std::string& problem);

}  // namespace vms::host
