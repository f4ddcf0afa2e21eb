#include "host/server/HostTls.h"

#include <sys/stat.h>

#include <utility>

#include "host/net/SelfSigned.h"
#include "host/text/HostError.h"
#include "platform/ILogHandler.h"

namespace vms::host {
namespace {

constexpr char kTag[] = "Tls";
constexpr auto kDay = std::chrono::hours(24);

void WarnOfOpenKey(const std::string& key, ILogHandler& log) {
    struct stat info {};
    if (stat(key.c_str(), &info) == 0 && (info.st_mode & S_IROTH) != 0)
        log.Log(2, kTag, "everybody on this machine can read the key %s", key.c_str());
}

TlsContext::Source SourceOf(const HostConfig& config, ILogHandler& log) {
    const TlsConfig& files = *config.http.tls;
    if (!files.IsSelfSigned())
        return [files, &log] {
            WarnOfOpenKey(files.key, log);
            return ReadTlsFiles(files.certificate, files.key);
        };
    return [folder = config.state, further = std::vector{config.http.host, config.http.advertise}] {
        return KeepSelfSigned(folder, OwnNames(further));
    };
}

void Describe(const TlsContext& tls, ILogHandler& log) {
    log.Log(1, kTag, "certificate SHA-256 %s", tls.Certificate().fingerprint.c_str());
}

}  // namespace

std::shared_ptr<TlsContext> MakeHostTls(const HostConfig& config, ILogHandler& log) {
    if (!config.http.tls)
        return nullptr;
    auto tls = std::make_shared<TlsContext>(SourceOf(config, log));
    Describe(*tls, log);
    return tls;
}

void ReloadHostTls(TlsContext& tls, ILogHandler& log) {
    try {
        tls.Reload();
        Describe(tls, log);
        CertificateWatch({&tls, [](TlsContext*) {}}, log).Look(std::chrono::system_clock::now());
    } catch (const std::exception& error) {
        log.Log(3, kTag, "the certificate stays as it is: %s", error.what());
    }
}

CertificateWatch::CertificateWatch(std::shared_ptr<TlsContext> tls, ILogHandler& log)
    : tls_(std::move(tls)), log_(log) {}

void CertificateWatch::Look(Time now) {
    if (tls_ == nullptr || now < next_)
        return;
    next_ = now + kDay;
    const std::string problem = TimeProblem(tls_->Certificate(), now);
    if (!problem.empty())
        log_.Log(2, kTag, "%s", problem.c_str());
}

}  // namespace vms::host
