// What strangers send to be let in. The first byte says what it is: "d" an Authorization header of
// digest access, "c" a Cookie header, "s" a request target that may be signed, "b" the body of a
// request about users.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "host/auth/AccessRequests.h"
#include "host/auth/DigestAccess.h"
#include "host/auth/SessionCookie.h"
#include "host/auth/SignedAddress.h"
#include "host/http/HttpTarget.h"

namespace {

using namespace vms::host;

void Require(bool condition) {
    if (!condition)
        std::abort();
}

void ReadDigest(const std::string& text) {
    static DigestAccess access("realm");
    const auto header = ReadDigestHeader(text);
    if (!header)
        return;
    Require(!header->username.empty() && !header->nonce.empty() && !header->uri.empty());
    size_t matched = 0;
    const DigestSecret secret{std::string(32, 'a'), std::string(64, 'b')};
    Require(access.Check(*header, "DESCRIBE", "10.0.0.1", {secret}, DigestAccess::Clock::now(),
                         matched) != DigestAccess::Outcome::kGood);
    // Whatever a name holds, it stays one parameter.
    const auto again =
        ReadDigestHeader("Digest nonce=n, uri=/, response=0, username=" + Quoted(header->username));
    Require(!again || again->username == header->username);
}

void ReadSigned(const std::string& text) {
    static const SignedAddress signer("key");
    HttpRequest request;
    if (ReadHttpTarget(text, request))
        Require(signer.Check(request, 0) != SignedAddress::Outcome::kGood);
    const auto address = signer.Sign(text, 60);
    if (!address)
        return;
    HttpRequest own;
    Require(ReadHttpTarget(*address, own));
    // Too many names make no request; else what has been signed is good.
    Require(signer.Check(own, 59) == SignedAddress::Outcome::kGood);
    Require(signer.Check(own, 60) == SignedAddress::Outcome::kExpired);
    own.segments.push_back("x");
    Require(signer.Check(own, 59) == SignedAddress::Outcome::kWrong);
}

void ReadBody(const std::string& text) {
    AccessBody body(text);
    const std::string name = body.Text("name");
    const int64_t expires = body.Time("expires", 7);
    const int64_t seconds = body.Number("seconds", 7, 1, 100);
    if (body.Problem().empty())
        Require(name.find('\0') == std::string::npos && expires >= 0 && seconds >= 1 &&
                seconds <= 100);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    switch (data[0]) {
        case 'd':
            ReadDigest(text);
            break;
        case 'c':
            Require(SessionKeyIn(text).size() <= 128);
            break;
        case 's':
            ReadSigned(text);
            break;
        case 'b':
            ReadBody(text);
            break;
        default:
            break;
    }
    return 0;
}
