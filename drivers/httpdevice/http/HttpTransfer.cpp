#include "drivers/httpdevice/http/HttpTransfer.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

namespace vms::httpdevice {
namespace {

constexpr size_t kMaxHeaderBytes = size_t{64} << 10;

long Ms(std::chrono::milliseconds time) {
    return static_cast<long>(time.count());
}

/// A connection that ends too early does not count: somebody was there.
bool MeansDown(CURLcode code) {
    return code == CURLE_COULDNT_RESOLVE_HOST || code == CURLE_COULDNT_CONNECT ||
           code == CURLE_OPERATION_TIMEDOUT || code == CURLE_SSL_CONNECT_ERROR ||
           code == CURLE_SEND_ERROR;
}

/// Host and port of a URL, as libcurl reads them; empty when it would not.
struct Origin {
    std::string host;
    std::string port;
};

std::string PartOf(CURLU* url, CURLUPart part, unsigned int flags) {
    char* text = nullptr;
    if (curl_url_get(url, part, &text, flags) != CURLUE_OK)
        return {};
    const std::unique_ptr<char, decltype(&curl_free)> owner(text, &curl_free);
    return text;
}

Origin OriginOf(const std::string& text) {
    const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> url(curl_url(), &curl_url_cleanup);
    if (url == nullptr || curl_url_set(url.get(), CURLUPART_URL, text.c_str(), 0) != CURLUE_OK)
        return {};
    return {PartOf(url.get(), CURLUPART_HOST, CURLU_PUNYCODE),
            PartOf(url.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT)};
}

}  // namespace

HttpTransfer::HttpTransfer(const FamilySettings& settings, HostNames& names)
    : curl_(curl_easy_init()), settings_(settings), names_(names) {
    if (curl_ == nullptr)
        throw std::bad_alloc();
    SetConstantOptions();
}

HttpTransfer::~HttpTransfer() {
    curl_easy_cleanup(curl_);
    curl_slist_free_all(headers_);
    curl_slist_free_all(places_);
}

void HttpTransfer::SetConstantOptions() {
    curl_easy_setopt(curl_, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl_, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl_, CURLOPT_PROXY, "");  // devices are near; the environment is not asked
    curl_easy_setopt(curl_, CURLOPT_CONNECTTIMEOUT_MS, Ms(settings_.connectTimeout));
    curl_easy_setopt(curl_, CURLOPT_TIMEOUT_MS, Ms(settings_.requestTimeout));
    curl_easy_setopt(curl_, CURLOPT_SSL_VERIFYPEER, settings_.verifyCertificates ? 1L : 0L);
    curl_easy_setopt(curl_, CURLOPT_SSL_VERIFYHOST, settings_.verifyCertificates ? 2L : 0L);
    if (!settings_.trustedCertificates.empty()) {
        curl_easy_setopt(curl_, CURLOPT_CAINFO, settings_.trustedCertificates.c_str());
        // The system's folder of certificates would be trusted besides.
        curl_easy_setopt(curl_, CURLOPT_CAPATH, nullptr);
    }
    curl_easy_setopt(curl_, CURLOPT_ERRORBUFFER, error_);
    curl_easy_setopt(curl_, CURLOPT_WRITEFUNCTION, &HttpTransfer::OnData);
    curl_easy_setopt(curl_, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(curl_, CURLOPT_HEADERFUNCTION, &HttpTransfer::OnHeader);
    curl_easy_setopt(curl_, CURLOPT_HEADERDATA, this);
}

HttpReply HttpTransfer::Perform(HttpRequest request, const std::atomic<bool>& cancelled) {
    Prepare(std::move(request));
    if (Locate() == Place::kAsked)
        lookUp_->Wait(settings_.connectTimeout, cancelled);
    if (Locate() != Place::kKnown)
        return NotFound();
    curl_easy_setopt(curl_, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(curl_, CURLOPT_XFERINFOFUNCTION, &HttpTransfer::OnProgress);
    curl_easy_setopt(curl_, CURLOPT_XFERINFODATA, &cancelled);
    return Finish(curl_easy_perform(curl_));
}

void HttpTransfer::Prepare(HttpRequest request) {
    request_ = std::move(request);
    body_.clear();
    headerBytes_ = 0;
    tooLong_ = false;
    error_[0] = '\0';
    curl_slist_free_all(std::exchange(headers_, nullptr));
    AddHeader("Content-Type: application/json");
    AddHeader("Expect:");
    if (!request_.session.empty()) {
        AddHeader("Cookie: " + request_.session);
        AddHeader("Api-Session: " + request_.session);
    }
    curl_easy_setopt(curl_, CURLOPT_URL, request_.url.c_str());
    curl_easy_setopt(curl_, CURLOPT_HTTPHEADER, headers_);
    curl_easy_setopt(curl_, CURLOPT_POST, 1L);
    curl_easy_setopt(curl_, CURLOPT_POSTFIELDS, request_.body.c_str());
    curl_easy_setopt(curl_, CURLOPT_POSTFIELDSIZE, static_cast<long>(request_.body.size()));
    LookUpHost();
}

/// libcurl must not look names up itself: it waits for its own look-ups when a request is given up,
/// and whoever drives it waits with it.
void HttpTransfer::LookUpHost() {
    const Origin origin = OriginOf(request_.url);
    hostAndPort_ = origin.host + ":" + origin.port + ":";
    const bool bracketed = origin.host.starts_with('[');
    lookUp_ = origin.host.empty() || bracketed ? nullptr : names_.Ask(origin.host);
    curl_easy_setopt(curl_, CURLOPT_RESOLVE, nullptr);
}

/// Certificates are still checked against the name in the URL.
HttpTransfer::Place HttpTransfer::Locate() {
    if (lookUp_ == nullptr)
        return Place::kKnown;
    const auto result = lookUp_->Get();
    if (!result)
        return Place::kAsked;
    if (result->addresses.empty())
        return Place::kUnknown;
    curl_slist_free_all(std::exchange(places_, nullptr));
    places_ = curl_slist_append(nullptr, (hostAndPort_ + result->addresses).c_str());
    if (places_ == nullptr)
        throw std::bad_alloc();
    curl_easy_setopt(curl_, CURLOPT_RESOLVE, places_);
    return Place::kKnown;
}

HttpReply HttpTransfer::NotFound() {
    const auto result = lookUp_->Get();
    HttpReply reply;
    reply.deviceDown = true;
    reply.error = "name not found: " + (result ? result->error : "no answer in time");
    return reply;
}

void HttpTransfer::AddHeader(const std::string& line) {
    curl_slist* const longer = curl_slist_append(headers_, line.c_str());
    if (longer == nullptr)
        throw std::bad_alloc();
    headers_ = longer;
}

HttpReply HttpTransfer::Finish(CURLcode code) {
    HttpReply reply;
    reply.arrived = code == CURLE_OK || tooLong_;
    reply.deviceDown = MeansDown(code);
    if (code == CURLE_OK && !request_.bound.Takes(body_))
        tooLong_ = true;
    if (tooLong_)
        reply.error = "answer too long";
    else if (!reply.arrived)
        reply.error = error_[0] != '\0' ? error_ : curl_easy_strerror(code);
    curl_easy_getinfo(curl_, CURLINFO_RESPONSE_CODE, &reply.status);
    if (code == CURLE_OK && !tooLong_)
        reply.body.swap(body_);
    std::string().swap(body_);
    return reply;
}

size_t HttpTransfer::OnData(char* data, size_t size, size_t count, void* self) {
    auto& transfer = *static_cast<HttpTransfer*>(self);
    const size_t length = size * count;
    const size_t bound = std::min(transfer.request_.bound.bytes, transfer.settings_.maxAnswerBytes);
    if (length > bound - transfer.body_.size())
        return transfer.TooLong();
    try {
        transfer.body_.append(data, length);
    } catch (...) {
        return 0;
    }
    return length;
}

size_t HttpTransfer::OnHeader(char* /*data*/, size_t size, size_t count, void* self) {
    auto& transfer = *static_cast<HttpTransfer*>(self);
    transfer.headerBytes_ += size * count;
    return transfer.headerBytes_ > kMaxHeaderBytes ? transfer.TooLong() : size * count;
}

/// Ends the transfer, when a callback gives this back.
size_t HttpTransfer::TooLong() {
    tooLong_ = true;
    return 0;
}

int HttpTransfer::OnProgress(void* cancelled, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    return *static_cast<const std::atomic<bool>*>(cancelled) ? 1 : 0;
}

}  // namespace vms::httpdevice
