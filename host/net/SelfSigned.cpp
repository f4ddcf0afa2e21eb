#include "host/net/SelfSigned.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <list>

#include "host/net/OpenSsl.h"
#include "host/text/HostError.h"
#include "platform/LocalIps.h"

namespace vms::host {
namespace {

constexpr char kFileName[] = "tls-self-signed.pem";  ///< certificate and key in one: never half
constexpr long kDay = 24L * 60 * 60;
constexpr int kDays = 3650;
constexpr size_t kLongestName = 253;
constexpr size_t kMostNames = 64;

bool IsAddress(const std::string& name) {
    unsigned char address[sizeof(in6_addr)];
    return inet_pton(AF_INET, name.c_str(), address) == 1 ||
           inet_pton(AF_INET6, name.c_str(), address) == 1;
}

bool IsName(const std::string& name) {
    return !name.empty() && name.size() <= kLongestName &&
           std::all_of(name.begin(), name.end(), [](unsigned char letter) {
               return letter < 0x80 && (std::isalnum(letter) || letter == '-' || letter == '.');
           });
}

/// As the extension's text wants them.
std::string AlternativeNames(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ",") + std::string(IsAddress(name) ? "IP:" : "DNS:") + name;
    return text;
}

void AddExtension(X509* certificate, int kind, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* const extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str());
    const bool added = extension != nullptr && X509_add_ext(certificate, extension, -1) == 1;
    X509_EXTENSION_free(extension);
    if (!added)
        FailTls("cannot make a certificate");
}

void SetSerial(X509* certificate) {
    unsigned char bytes[16];
    if (RAND_bytes(bytes, sizeof bytes) != 1)
        FailTls("cannot make a certificate");
    bytes[0] = static_cast<unsigned char>((bytes[0] & 0x7f) | 0x40);  // positive, never shorter
    BIGNUM* const number = BN_bin2bn(bytes, sizeof bytes, nullptr);
    const bool set = number != nullptr &&
                     BN_to_ASN1_INTEGER(number, X509_get_serialNumber(certificate)) != nullptr;
    BN_free(number);
    if (!set)
        FailTls("cannot make a certificate");
}

/// It begins a day early: not all clocks agree.
CertificatePointer Certify(EVP_PKEY* key, const std::vector<std::string>& names) {
    CertificatePointer made(X509_new());
    X509* const certificate = made.get();
    X509_NAME* const subject =
        certificate == nullptr ? nullptr : X509_get_subject_name(certificate);
    const unsigned char common[] = "vmshost";
    if (subject == nullptr || X509_set_version(certificate, 2) != 1 ||
        X509_gmtime_adj(X509_getm_notBefore(certificate), -kDay) == nullptr ||
        X509_time_adj_ex(X509_getm_notAfter(certificate), kDays, 0, nullptr) == nullptr ||
        X509_set_pubkey(certificate, key) != 1 ||
        X509_NAME_add_entry_by_NID(subject, NID_commonName, MBSTRING_ASC, common, -1, -1, 0) != 1 ||
        X509_set_issuer_name(certificate, subject) != 1)
        FailTls("cannot make a certificate");
    SetSerial(certificate);
    AddExtension(certificate, NID_basic_constraints, "critical,CA:FALSE");
    AddExtension(certificate, NID_key_usage, "critical,digitalSignature");
    AddExtension(certificate, NID_ext_key_usage, "serverAuth");
    AddExtension(certificate, NID_subject_key_identifier, "hash");
    AddExtension(certificate, NID_subject_alt_name, AlternativeNames(names));
    if (X509_sign(certificate, key, EVP_sha256()) == 0)
        FailTls("cannot sign a certificate");
    return made;
}

template <class Write>
std::string PemOf(Write write) {
    const BioPointer memory(BIO_new(BIO_s_mem()));
    if (memory == nullptr || write(memory.get()) != 1)
        FailTls("cannot write a certificate");
    char* text = nullptr;
    const long size = BIO_get_mem_data(memory.get(), &text);
    return {text, static_cast<size_t>(size)};
}

[[noreturn]] void FailOn(const std::string& path) {
    throw HostError("cannot write " + path + ": " + std::strerror(errno));
}

/// The file is there whole or not at all, whenever the power goes.
void WritePrivately(const std::string& path, const std::string& text) {
    const std::string next = path + ".new";
    unlink(next.c_str());
    const int file = open(next.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (file < 0)
        FailOn(next);
    const bool written = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    const bool kept = written && fsync(file) == 0;
    if (close(file) != 0 || !kept || rename(next.c_str(), path.c_str()) != 0)
        FailOn(path);
    const int folder =
        open(std::filesystem::path(path).parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
        fsync(folder);
        close(folder);
    }
}

}  // namespace

std::vector<std::string> OwnNames(const std::vector<std::string>& further) {
    char host[256] = "";
    std::vector<std::string> candidates{"localhost", "127.0.0.1", "::1"};
    if (gethostname(host, sizeof host - 1) == 0)
        candidates.emplace_back(host);
    candidates.insert(candidates.end(), further.begin(), further.end());
    std::list<std::string> addresses;
    GetLocalIps(addresses);
    candidates.insert(candidates.end(), addresses.begin(), addresses.end());
    std::vector<std::string> names;
    for (const std::string& name : candidates) {
        const bool isNew = std::find(names.begin(), names.end(), name) == names.end();
        if (isNew && (IsAddress(name) || IsName(name)) && names.size() < kMostNames)
            names.push_back(name);
    }
    return names;
}

TlsCredentials MakeSelfSigned(const std::vector<std::string>& names) {
    ERR_clear_error();
    const KeyPointer key(EVP_EC_gen("P-256"));
    if (key == nullptr)
        FailTls("cannot make a key");
    const CertificatePointer certificate = Certify(key.get(), names);
    return {PemOf([&](BIO* to) { return PEM_write_bio_X509(to, certificate.get()); }),
            PemOf([&](BIO* to) {
                return PEM_write_bio_PrivateKey(to, key.get(), nullptr, nullptr, 0, nullptr,
                                                nullptr);
            }),
            "a new certificate"};
}

TlsCredentials KeepSelfSigned(const std::string& folder, const std::vector<std::string>& names) {
    const std::string path = (std::filesystem::path(folder) / kFileName).string();
    std::error_code error;
    if (std::filesystem::exists(path, error)) {
        TlsCredentials kept = ReadTlsFiles(path, path);
        if (TimeProblem(DescribeCertificate(kept), std::chrono::system_clock::now()).empty())
            return kept;
    }
    std::filesystem::create_directories(folder, error);
    const TlsCredentials made = MakeSelfSigned(names);
    WritePrivately(path, made.certificate + made.key);
    return ReadTlsFiles(path, path);
}

}  // namespace vms::host
