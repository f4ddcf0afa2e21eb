#include "host/client/HostClient.h"

#include <curl/curl.h>
#include <openssl/ssl.h>

#include <cctype>
#include <cstdlib>
#include <fstream>
#include <utility>

#include "host/text/HostError.h"
#include "host/text/JsonText.h"
#include "host/text/PercentText.h"
#include "platform/Json.h"

namespace vms::host {
namespace {

constexpr long kConnectSeconds = 10;
/// No byte for so long is the end: commands take as long as a device does.
constexpr long kSilenceSeconds = 75;

std::string Environment(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string() : value;
}

std::string BaseOf(const HostAccess& access) {
    std::string base = access.url.empty() ? Environment("VMS_URL") : access.url;
    if (base.empty())
        base = "http://127.0.0.1:8080";
    while (!base.empty() && base.back() == '/')
        base.pop_back();
    const size_t begin = base.find("://");
    const bool isKnown = base.rfind("http://", 0) == 0 || base.rfind("https://", 0) == 0;
    if (!isKnown || base.find_first_of("/?#@ \t", begin + 3) != std::string::npos ||
        base.size() == begin + 3)
        throw HostError("the address of the host must be like http://127.0.0.1:8080");
    return base;
}

std::string TokenOf(const HostAccess& access) {
    if (access.tokenFile.empty())
        return Environment("VMS_TOKEN");
    std::ifstream file(access.tokenFile);
    std::string token;
    if (!std::getline(file, token))
        throw HostError("cannot read a token from " + access.tokenFile);
    if (!token.empty() && token.back() == '\r')
        token.pop_back();
    return token;
}

size_t TakeBytes(char* data, size_t size, size_t count, void* target) {
    auto& bytes = *static_cast<std::string*>(target);
    if (bytes.size() + size * count > HostClient::kMostBytes)
        return 0;
    bytes.append(data, size * count);
    return size * count;
}

/// Only digits count, whatever stands between them and in whatever case.
std::string DigitsOf(const std::string& fingerprint) {
    std::string digits;
    for (const char letter : fingerprint) {
        if (std::isxdigit(static_cast<unsigned char>(letter)) != 0)
            digits += static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    }
    return digits;
}

/// In place of the library's own check, before a byte of the request is sent.
int HasFingerprint(X509_STORE_CTX* chain, void* expected) {
    static constexpr char kDigits[] = "0123456789abcdef";
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    const X509* const certificate = X509_STORE_CTX_get0_cert(chain);
    if (certificate == nullptr || X509_digest(certificate, EVP_sha256(), digest, &size) != 1)
        return 0;
    std::string shown;
    for (unsigned i = 0; i < size; ++i)
        shown.append({kDigits[digest[i] >> 4], kDigits[digest[i] & 15]});
    if (shown == DigitsOf(*static_cast<const std::string*>(expected)))
        return 1;
    X509_STORE_CTX_set_error(chain, X509_V_ERR_CERT_REJECTED);
    return 0;
}

/// The library asks for the certificate's check only if verifying is on.
CURLcode ExpectFingerprint(CURL*, void* context, void* fingerprint) {
    auto* const tls = static_cast<SSL_CTX*>(context);
    SSL_CTX_set_verify(tls, SSL_VERIFY_PEER, nullptr);
    SSL_CTX_set_cert_verify_callback(tls, &HasFingerprint, fingerprint);
    return CURLE_OK;
}

/// What the host says is wrong.
std::string ProblemIn(const std::string& answer, long status) {
    Json::Value document;
    std::string error;
    if (ParseJson(answer.c_str(), document))
        ReadString(document, "error", error);
    return error.empty() ? "the host answered with status " + std::to_string(status)
                         : "the host says: " + error;
}

Json::Value ReadAnswer(const std::string& text) {
    Json::Value document;
    if (!ParseJson(text.c_str(), document))
        throw HostError("the host's answer is no JSON");
    return document;
}

}  // namespace

struct HostClient::Transfer {
    struct Cleaner {
        void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
        void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    };
    std::unique_ptr<CURL, Cleaner> easy{curl_easy_init()};
    std::unique_ptr<curl_slist, Cleaner> headers;

    void AddHeader(const std::string& line) {
        headers.reset(curl_slist_append(headers.release(), line.c_str()));
    }
};

HostClient::HostClient(const HostAccess& access)
    : access_(access),
      base_(BaseOf(access)),
      token_(TokenOf(access)),
      transfer_(std::make_unique<Transfer>()) {
    if (transfer_->easy == nullptr)
        throw HostError("out of memory");
    transfer_->AddHeader("Content-Type: application/json");
    if (!token_.empty())
        transfer_->AddHeader("Authorization: Bearer " + token_);
}

HostClient::~HostClient() = default;

Json::Value HostClient::Get(const std::string& path, const Query& query) {
    return ReadAnswer(Exchange("GET", base_ + path + QueryText(query), ""));
}

Json::Value HostClient::Post(const std::string& path, const Json::Value& body) {
    const std::string answer = Exchange("POST", base_ + path, CompactJson(body));
    return answer.empty() ? Json::Value() : ReadAnswer(answer);
}

std::string HostClient::GetBytes(const std::string& path, const Query& query) {
    return Exchange("GET", base_ + path + QueryText(query), "");
}

std::string HostClient::Exchange(const std::string& method, const std::string& url,
                                 const std::string& body) {
    CURL* const easy = transfer_->easy.get();
    std::string answer;
    curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_PROXY, "");
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, transfer_->headers.get());
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT, kConnectSeconds);
    curl_easy_setopt(easy, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(easy, CURLOPT_LOW_SPEED_TIME, kSilenceSeconds);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &TakeBytes);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &answer);
    if (method == "POST") {
        curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
        curl_easy_setopt(easy, CURLOPT_POSTFIELDS, body.c_str());
    } else {
        curl_easy_setopt(easy, CURLOPT_HTTPGET, 1L);
    }
    if (access_.trust.isInsecure || !access_.trust.fingerprint.empty()) {
        curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 0L);
        curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 0L);
    }
    if (!access_.trust.fingerprint.empty()) {
        curl_easy_setopt(easy, CURLOPT_SSL_CTX_FUNCTION, &ExpectFingerprint);
        curl_easy_setopt(easy, CURLOPT_SSL_CTX_DATA,
                         const_cast<std::string*>(&access_.trust.fingerprint));
    }
    const CURLcode outcome = curl_easy_perform(easy);
    if (outcome == CURLE_WRITE_ERROR)
        throw HostError("the host's answer is too long");
    if (outcome != CURLE_OK)
        throw HostError("cannot ask " + base_ + ": " + curl_easy_strerror(outcome));
    long status = 0;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    if (status < 200 || status >= 300)
        throw HostError(ProblemIn(answer, status));
    return answer;
}

std::string HostClient::Address(const std::string& scheme, const std::string& path,
                                const Query& query) const {
    const bool isSecure = base_.rfind("https://", 0) == 0;
    return scheme + (isSecure ? "s" : "") + base_.substr(base_.find("://")) + path +
           QueryText(query);
}

std::string HostClient::HostName() const {
    const std::string authority = base_.substr(base_.find("://") + 3);
    const size_t colon = authority.rfind(':');
    const size_t bracket = authority.rfind(']');
    const bool hasPort =
        colon != std::string::npos && (bracket == std::string::npos || colon > bracket);
    return hasPort ? authority.substr(0, colon) : authority;
}

std::string HostClient::QueryText(const Query& query) {
    std::string text;
    for (const auto& [name, value] : query)
        text += (text.empty() ? "?" : "&") + PercentEncode(name) + "=" + PercentEncode(value);
    return text;
}

}  // namespace vms::host
