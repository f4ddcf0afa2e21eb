#include "host/net/TlsCredentials.h"

#include <openssl/pem.h>

#include <array>
#include <ctime>
#include <fstream>

#include "host/net/OpenSsl.h"
#include "host/text/HostError.h"

namespace vms::host {
namespace {

using Clock = std::chrono::system_clock;

constexpr std::streamsize kLongestFile = 1 << 20;
constexpr auto kSoon = std::chrono::hours(24) * 30;

std::string ReadPem(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text(static_cast<size_t>(kLongestFile) + 1, '\0');
    if (file)
        file.read(text.data(), kLongestFile + 1);
    if (!file.is_open() || file.bad())
        throw HostError("cannot read " + path);
    if (file.gcount() > kLongestFile)
        throw HostError(path + " is longer than 1 MiB");
    text.resize(static_cast<size_t>(file.gcount()));
    return text;
}

std::string Fingerprint(const X509* certificate) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
    unsigned size = 0;
    if (X509_digest(certificate, EVP_sha256(), digest.data(), &size) != 1)
        FailTls("no fingerprint");
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (unsigned i = 0; i < size; ++i) {
        if (i > 0)
            text += ':';
        text += kDigits[digest[i] >> 4];
        text += kDigits[digest[i] & 15];
    }
    return text;
}

Clock::time_point TimeOf(const ASN1_TIME* time) {
    std::tm fields{};
    if (ASN1_TIME_to_tm(time, &fields) != 1)
        FailTls("a time of the certificate cannot be read");
    return Clock::from_time_t(timegm(&fields));
}

std::string Day(Clock::time_point time) {
    const std::time_t seconds = Clock::to_time_t(time);
    std::tm fields{};
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d", gmtime_r(&seconds, &fields));
    return text;
}

}  // namespace

TlsCredentials ReadTlsFiles(const std::string& certificate, const std::string& key) {
    return {ReadPem(certificate), ReadPem(key),
            certificate == key ? certificate : certificate + " and " + key};
}

TlsCertificate DescribeCertificate(const TlsCredentials& credentials) {
    const BioPointer text = BioOf(credentials.certificate);
    const CertificatePointer certificate(
        PEM_read_bio_X509_AUX(text.get(), nullptr, NoPassphrase, nullptr));
    if (certificate == nullptr)
        FailTls(credentials.origin + ": no certificate");
    return {Fingerprint(certificate.get()), TimeOf(X509_get0_notBefore(certificate.get())),
            TimeOf(X509_get0_notAfter(certificate.get()))};
}

std::string TimeProblem(const TlsCertificate& certificate, Clock::time_point now) {
    if (now >= certificate.ends)
        return "the certificate has ended on " + Day(certificate.ends);
    if (now < certificate.begins)
        return "the certificate is not valid before " + Day(certificate.begins);
    if (certificate.ends - now <= kSoon)
        return "the certificate ends on " + Day(certificate.ends);
    return "";
}

}  // namespace vms::host
