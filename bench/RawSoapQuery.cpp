#include "bench/RawSoapQuery.h"

#include <curl/curl.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <ctime>
#include <memory>
#include <stdexcept>

#include "platform/Base64.h"

namespace vms::bench {
namespace {

// Sizes of the bodies that the library sends for a user "admin": declarations of all its namespaces
// included.
constexpr size_t kRequestBytes = 2400;

std::string Now() {
    char text[32];
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

std::string Digest(const std::string& nonce, const std::string& created,
                   const std::string& password) {
    const std::string text = nonce + created + password;
    unsigned char hash[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(text.data(), text.size(), hash, &length, EVP_sha1(), nullptr);
    return base64_encode(hash, length);
}

std::string Envelope(const test::SimulatedCamera& camera, const std::string& body) {
    unsigned char nonceBytes[20];
    RAND_bytes(nonceBytes, sizeof nonceBytes);
    const std::string nonce(reinterpret_cast<char*>(nonceBytes), sizeof nonceBytes);
    const std::string created = Now();
    const std::string wss = "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-";
    std::string text =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?><s:Envelope "
        "xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\"><s:Header><o:Security xmlns:o=\"" +
        wss + "wssecurity-secext-1.0.xsd\" xmlns:u=\"" + wss +
        "wssecurity-utility-1.0.xsd\"><o:UsernameToken><o:Username>" + camera.user +
        "</o:Username><o:Password Type=\"" + wss + "username-token-profile-1.0#PasswordDigest\">" +
        Digest(nonce, created, camera.password) + "</o:Password><o:Nonce EncodingType=\"" + wss +
        "soap-message-security-1.0#Base64Binary\">" + base64_encode(nonceBytes, sizeof nonceBytes) +
        "</o:Nonce><u:Created>" + created +
        "</u:Created></o:UsernameToken></o:Security></s:Header><s:Body>" + body + "</s:Body>";
    const std::string end = "</s:Envelope>";
    if (text.size() + end.size() < kRequestBytes)
        text.append(kRequestBytes - text.size() - end.size(), ' ');
    return text + end;
}

size_t Append(char* data, size_t size, size_t count, void* answer) {
    static_cast<std::string*>(answer)->append(data, size * count);
    return size * count;
}

std::string Post(const std::string& url, const std::string& body) {
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(),
                                                                   curl_easy_cleanup);
    const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(
        curl_slist_append(
            curl_slist_append(nullptr, "Content-Type: application/soap+xml; charset=utf-8"),
            "Expect:"),
        curl_slist_free_all);
    std::string answer;
    curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, Append);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &answer);
    curl_easy_setopt(curl.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_FAILONERROR, 1L);
    return curl_easy_perform(curl.get()) == CURLE_OK ? answer : std::string();
}

constexpr const char* kCapabilities =
    "<GetCapabilities xmlns=\"http://www.onvif.org/ver10/device/wsdl\"><Category>All</Category>"
    "</GetCapabilities>";
constexpr const char* kProfiles = "<GetProfiles xmlns=\"http://www.onvif.org/ver10/media/wsdl\"/>";

std::string StreamUri(const std::string& token) {
    return "<GetStreamUri xmlns=\"http://www.onvif.org/ver10/media/wsdl\"><StreamSetup>"
           "<Stream xmlns=\"http://www.onvif.org/ver10/schema\">RTP-Unicast</Stream>"
           "<Transport xmlns=\"http://www.onvif.org/ver10/schema\"><Protocol>RTSP</Protocol>"
           "</Transport></StreamSetup><ProfileToken>" +
           token + "</ProfileToken></GetStreamUri>";
}

std::string FirstToken(const std::string& profiles) {
    const size_t profile = profiles.find("Profiles");
    const size_t begin = profiles.find("token=\"", profile);
    if (profile == std::string::npos || begin == std::string::npos)
        throw std::runtime_error("no profile token in the camera's answer");
    const size_t text = begin + 7;
    return profiles.substr(text, profiles.find('"', text) - text);
}

}  // namespace

RawSoapQuery::RawSoapQuery(const test::SimulatedCamera& camera)
    : camera_(camera),
      deviceUrl_("http://" + camera.address + ":" + std::to_string(camera.port) +
                 "/onvif/device_service"),
      mediaUrl_("http://" + camera.address + ":" + std::to_string(camera.port) +
                "/onvif/media_service"),
      token_(FirstToken(Post(mediaUrl_, Envelope(camera, kProfiles)))) {}

size_t RawSoapQuery::Run() const {
    const std::string capabilities = Post(deviceUrl_, Envelope(camera_, kCapabilities));
    const std::string profiles = Post(mediaUrl_, Envelope(camera_, kProfiles));
    const std::string uri = Post(mediaUrl_, Envelope(camera_, StreamUri(token_)));
    if (capabilities.empty() || profiles.empty() || uri.find("rtsp://") == std::string::npos)
        return 0;
    return capabilities.size() + profiles.size() + uri.size();
}

}  // namespace vms::bench
