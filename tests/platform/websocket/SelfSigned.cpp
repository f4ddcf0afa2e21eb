#include "tests/platform/websocket/SelfSigned.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>

namespace vms::test {
namespace {

constexpr long kDay = 24 * 3600;

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;
using File = std::unique_ptr<std::FILE, decltype(&std::fclose)>;

Certificate MakeCertificate(EVP_PKEY* key) {
    Certificate certificate(X509_new(), &X509_free);
    X509* const x509 = certificate.get();
    X509_set_version(x509, X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(x509), 1);
    X509_gmtime_adj(X509_getm_notBefore(x509), -kDay);
    X509_gmtime_adj(X509_getm_notAfter(x509), kDay);
    X509_NAME* const name = X509_get_subject_name(x509);
    const auto* const text = reinterpret_cast<const unsigned char*>("test camera");
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, text, -1, -1, 0);
    X509_set_issuer_name(x509, name);
    X509_EXTENSION* const hosts =
        X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1");
    X509_add_ext(x509, hosts, -1);
    X509_EXTENSION_free(hosts);
    X509_set_pubkey(x509, key);
    X509_sign(x509, key, EVP_sha256());
    return certificate;
}

File Create(const std::string& path) {
    File file(std::fopen(path.c_str(), "w"), &std::fclose);
    if (file == nullptr)
        throw std::runtime_error("cannot write " + path);
    return file;
}

}  // namespace

SelfSigned::SelfSigned() {
    folder_ = (std::filesystem::temp_directory_path() / "wstestXXXXXX").string();
    if (mkdtemp(folder_.data()) == nullptr)
        throw std::runtime_error("cannot create " + folder_);
    const vms::test::Key key(EVP_EC_gen("P-256"), &EVP_PKEY_free);
    const auto certificate = MakeCertificate(key.get());
    PEM_write_X509(Create(Certificate()).get(), certificate.get());
    PEM_write_PrivateKey(Create(Key()).get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr);
}

SelfSigned::~SelfSigned() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

}  // namespace vms::test
