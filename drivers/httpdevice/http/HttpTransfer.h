#pragma once

#include <curl/curl.h>

#include <atomic>
#include <memory>
#include <string>

#include "drivers/httpdevice/FamilySettings.h"

namespace vms::httpdevice {

/// A POST to a device.
struct HttpRequest {
    std::string url;
    std::string body;     ///< JSON
    std::string session;  ///< goes into the Cookie and Api-Session headers; "" = none
};

/// What came of a request.
struct HttpReply {
    bool arrived = false;     ///< a whole answer came, though maybe one too long to be kept
    bool deviceDown = false;  ///< the device could not be reached or stayed silent
    long status = 0;          ///< HTTP status of an answer
    std::string body;         ///< of an answer; may be anything
    std::string error;        ///< what went wrong, for the log; holds nothing secret
};

/// One libcurl handle, for one request after the other: the connection is kept in between.
/// Thread-bound.
class HttpTransfer {
public:
    explicit HttpTransfer(const FamilySettings& settings);
    ~HttpTransfer();
    HttpTransfer(const HttpTransfer&) = delete;
    HttpTransfer& operator=(const HttpTransfer&) = delete;

    /// Sends and waits, for `requestTimeout` at most.
    /// @param cancelled ends the wait within a second of becoming true
    HttpReply Perform(HttpRequest request, const std::atomic<bool>& cancelled);

    // For whoever drives the handle itself: Prepare, let it run, then Finish.
    CURL* Handle() { return curl_; }
    void Prepare(HttpRequest request);
    HttpReply Finish(CURLcode code);

private:
    static std::size_t OnData(char* data, std::size_t size, std::size_t count, void* self);
    static int OnProgress(void* cancelled, curl_off_t, curl_off_t, curl_off_t, curl_off_t);

    void SetConstantOptions(const FamilySettings& settings);
    void AddHeader(const std::string& line);

    CURL* const curl_;
    const std::size_t maxBytes_;
    HttpRequest request_;  ///< libcurl reads it in place
    curl_slist* headers_ = nullptr;
    std::string body_;
    bool tooLong_ = false;
    char error_[CURL_ERROR_SIZE] = "";
};

}  // namespace vms::httpdevice
