#include "drivers/httpdevice/http/HttpTransfer.h"

#include <new>
#include <utility>

namespace vms::httpdevice {
namespace {

long Ms(std::chrono::milliseconds time) {
    return static_cast<long>(time.count());
}

/// A connection that ends too early does not count: somebody was there.
bool MeansDown(CURLcode code) {
    return code == CURLE_COULDNT_RESOLVE_HOST || code == CURLE_COULDNT_CONNECT ||
           code == CURLE_OPERATION_TIMEDOUT || code == CURLE_SSL_CONNECT_ERROR ||
           code == CURLE_SEND_ERROR;
}

}  // namespace

HttpTransfer::HttpTransfer(const FamilySettings& settings)
    : curl_(curl_easy_init()), maxBytes_(settings.maxAnswerBytes) {
    if (curl_ == nullptr)
        throw std::bad_alloc();
    SetConstantOptions(settings);
}

HttpTransfer::~HttpTransfer() {
    curl_easy_cleanup(curl_);
    curl_slist_free_all(headers_);
}

void HttpTransfer::SetConstantOptions(const FamilySettings& settings) {
    curl_easy_setopt(curl_, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl_, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl_, CURLOPT_PROXY, "");  // devices are near; the environment is not asked
    curl_easy_setopt(curl_, CURLOPT_CONNECTTIMEOUT_MS, Ms(settings.connectTimeout));
    curl_easy_setopt(curl_, CURLOPT_TIMEOUT_MS, Ms(settings.requestTimeout));
    curl_easy_setopt(curl_, CURLOPT_SSL_VERIFYPEER, settings.verifyCertificates ? 1L : 0L);
    curl_easy_setopt(curl_, CURLOPT_SSL_VERIFYHOST, settings.verifyCertificates ? 2L : 0L);
    if (!settings.trustedCertificates.empty())
        curl_easy_setopt(curl_, CURLOPT_CAINFO, settings.trustedCertificates.c_str());
    curl_easy_setopt(curl_, CURLOPT_ERRORBUFFER, error_);
    curl_easy_setopt(curl_, CURLOPT_WRITEFUNCTION, &HttpTransfer::OnData);
    curl_easy_setopt(curl_, CURLOPT_WRITEDATA, this);
}

HttpReply HttpTransfer::Perform(HttpRequest request, const std::atomic<bool>& cancelled) {
    Prepare(std::move(request));
    curl_easy_setopt(curl_, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(curl_, CURLOPT_XFERINFOFUNCTION, &HttpTransfer::OnProgress);
    curl_easy_setopt(curl_, CURLOPT_XFERINFODATA, &cancelled);
    return Finish(curl_easy_perform(curl_));
}

void HttpTransfer::Prepare(HttpRequest request) {
    request_ = std::move(request);
    body_.clear();
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
    if (tooLong_)
        reply.error = "answer too long";
    else if (!reply.arrived)
        reply.error = error_[0] != '\0' ? error_ : curl_easy_strerror(code);
    curl_easy_getinfo(curl_, CURLINFO_RESPONSE_CODE, &reply.status);
    if (code == CURLE_OK)
        reply.body.swap(body_);
    return reply;
}

std::size_t HttpTransfer::OnData(char* data, std::size_t size, std::size_t count, void* self) {
    auto& transfer = *static_cast<HttpTransfer*>(self);
    const std::size_t length = size * count;
    if (length > transfer.maxBytes_ - transfer.body_.size()) {
        transfer.tooLong_ = true;
        return 0;
    }
    try {
        transfer.body_.append(data, length);
    } catch (...) {
        return 0;
    }
    return length;
}

int HttpTransfer::OnProgress(void* cancelled, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    return *static_cast<const std::atomic<bool>*>(cancelled) ? 1 : 0;
}

}  // namespace vms::httpdevice
