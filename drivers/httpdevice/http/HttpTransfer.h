#pragma once

#include <curl/curl.h>

#include <atomic>
#include <memory>
#include <string>

#include "drivers/httpdevice/FamilySettings.h"
#include "drivers/httpdevice/http/AnswerBound.h"
#include "drivers/httpdevice/http/HostNames.h"

namespace vms::httpdevice {

/// A POST to a device.
struct HttpRequest {
    std::string url;
    std::string body;                  ///< JSON
    std::string session;               ///< goes into the Cookie and Api-Session headers; "" = none
    AnswerBound bound = kShortAnswer;  ///< of the answer; `maxAnswerBytes` holds besides
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
    /// @param names stays alive as long as this
    HttpTransfer(const FamilySettings& settings, HostNames& names);
    ~HttpTransfer();
    HttpTransfer(const HttpTransfer&) = delete;
    HttpTransfer& operator=(const HttpTransfer&) = delete;

    /// Sends and waits: for the look-up of a name `connectTimeout` at most, then `requestTimeout`.
    /// @param cancelled ends the wait within a second of becoming true
    HttpReply Perform(HttpRequest request, const std::atomic<bool>& cancelled);

    // For whoever drives the handle itself: Prepare, Locate until it is known where the host is,
    // let it run, then Finish.
    enum class Place { kKnown, kAsked, kUnknown };
    CURL* Handle() { return curl_; }
    void Prepare(HttpRequest request);
    Place Locate();
    HttpReply Finish(CURLcode code);
    /// Instead of Finish, for a request that was not sent: the host has not been found (in time).
    HttpReply NotFound();

private:
    static size_t OnData(char* data, size_t size, size_t count, void* self);
    static size_t OnHeader(char* data, size_t size, size_t count, void* self);
    static int OnProgress(void* cancelled, curl_off_t, curl_off_t, curl_off_t, curl_off_t);

    void SetConstantOptions();
    void AddHeader(const std::string& line);
    void LookUpHost();
    size_t TooLong();

    CURL* const curl_;
    const FamilySettings settings_;
    HostNames& names_;
    HttpRequest request_;  ///< libcurl reads it in place
    curl_slist* headers_ = nullptr;
    curl_slist* places_ = nullptr;
    std::string hostAndPort_;             ///< as libcurl keeps addresses
    std::shared_ptr<HostLookUp> lookUp_;  ///< null when the URL has an address
    std::string body_;
    size_t headerBytes_ = 0;
    bool tooLong_ = false;
    char error_[CURL_ERROR_SIZE] = "";
};

}  // namespace vms::httpdevice
