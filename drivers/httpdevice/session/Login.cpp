#include "drivers/httpdevice/session/Login.h"

#include <json/value.h>
#include <json/writer.h>

#include <algorithm>
#include <array>
#include <ctime>

#include "deviceapi/Tavero_Http_Encode.h"
#include "drivers/httpdevice/session/AnswerCode.h"
#include "drivers/httpdevice/session/KeyCheck.h"
#include "platform/Json.h"

namespace vms::httpdevice {
namespace {

using Api = Tavero_Http_Encode;
using Kind = LoginOutcome::Kind;

constexpr const char* kSecondFamily = "quorix";

struct Challenge {
    std::string family;
    std::string challenge;
    std::string salt;
    std::string sessionId;
    int iterations = 0;
    bool enableIteration = false;

    bool Read(const std::string& answer);
    bool AsksTooMuch() const { return enableIteration && iterations > kMaxIterations; }
    bool IsSecondFamily() const { return family == kSecondFamily; }
};

/// The first name of data.encryptionType; "" when there is none.
std::string FamilyOf(const std::string& answer) {
    Json::Value root;
    ParseJson(answer.c_str(), root);
    const Json::Value& types = Member(Member(root, "data"), "encryptionType");
    const Json::Value& first = FirstElement(types);
    return types.isArray() && first.isString() ? first.asString() : "";
}

bool Challenge::Read(const std::string& answer) {
    family = FamilyOf(answer);
    return Api::DeSerializeLoginCapabilities(answer.c_str(), challenge, salt, sessionId, iterations,
                                             enableIteration) == 0;
}

/// Text between quotes, as JSON has it: the encoder inserts user names as they are.
std::string Escaped(const std::string& text) {
    const std::string quoted = Json::valueToQuotedString(text.c_str());
    return quoted.substr(1, quoted.size() - 2);
}

std::string Proof(const DeviceAddress& address, const Challenge& challenge) {
    std::array<char, 65> proof{};
    const auto encode =
        challenge.IsSecondFamily() ? &Api::TV_QUORIX_Sha256_Encode : &Api::TV_Sha256_1Encode;
    encode(proof.data(), address.User().c_str(), challenge.challenge.c_str(),
           address.Password().c_str(), challenge.salt.c_str(), challenge.sessionId.c_str(),
           challenge.enableIteration, challenge.iterations);
    return proof.data();
}

std::string Now() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &utc);
    return text;
}

/// The session becomes part of headers and JSON.
bool IsUsableSession(const std::string& session) {
    return !session.empty() && session.size() <= 512 &&
           std::all_of(session.begin(), session.end(), [](unsigned char c) {
               return c > 0x20 && c < 0x7f && c != '"' && c != '\\';
           });
}

LoginOutcome Refused(const char* reason) {
    return {Kind::kRefused, "", reason};
}

LoginOutcome Unreachable(const char* reason) {
    return {Kind::kUnreachable, "", reason};
}

LoginOutcome OpenSession(const DeviceAddress& address, const Challenge& challenge,
                         const Carrier& carrier) {
    const std::string body =
        Api::GetLoginRequestData(Escaped(address.User()).c_str(), Proof(address, challenge).c_str(),
                                 Escaped(challenge.sessionId).c_str(), Now().c_str());
    const auto answer = carrier(address.Url(&Api::GetUrlLogin), body, "");
    if (!answer)
        return Unreachable("no answer to the login");
    std::string session;
    if (Api::DeSerializeLogin(answer->c_str(), session) != 0)
        return Refused("user or password refused");
    if (!IsUsableSession(session))
        return Refused("unusable session");
    return {Kind::kDone, session, ""};
}

}  // namespace

LoginOutcome LogIn(const DeviceAddress& address, const Carrier& carrier) {
    const auto answer =
        carrier(address.Url(&Api::GetUrlLoginCapabilities),
                Api::GetLoginCapabilitiesRequestData(Escaped(address.User()).c_str()), "");
    if (!answer)
        return Unreachable("no answer to the request for a challenge");
    Challenge challenge;
    if (!challenge.Read(*answer))
        return Refused("unusable challenge");
    if (challenge.AsksTooMuch())
        return Refused("asks for too many iterations");
    LoginOutcome outcome = OpenSession(address, challenge, carrier);
    if (outcome.kind == Kind::kDone && challenge.IsSecondFamily() &&
        !ProveKey(address, outcome.session, carrier))
        return Refused("proof of the key failed");
    return outcome;
}

bool ProveKey(const DeviceAddress& address, const std::string& session, const Carrier& carrier) {
    const std::string url = address.Url(&Api::GetUrlCapability);
    const auto answer = carrier(url, R"({"action":"get"})", session);
    std::string salt;
    int iterations = 0;
    bool enableIteration = false;
    if (!answer ||
        Api::DeSerializeCapability(answer->c_str(), salt, iterations, enableIteration) != 0 ||
        (enableIteration && iterations > kMaxIterations))
        return false;
    const char* const password = address.Password().c_str();
    const char* const user = address.User().c_str();
    const std::string key =
        FamilyOf(*answer) == kSecondFamily
            ? Api::GetQUORIXAesKey(password, "", user, false, 0)
            : Api::GetAesKey(password, salt.c_str(), user, enableIteration, iterations);
    const std::string nonce = AnswerKeyCheck(*answer, key);
    if (nonce.empty())
        return false;
    Json::Value request;
    request["action"] = "set";
    request["data"]["nonce"] = nonce;
    const auto verdict = carrier(url, request.toStyledString(), session);
    return verdict && Api::DeSerializeCode(verdict->c_str()) == 0;
}

}  // namespace vms::httpdevice
