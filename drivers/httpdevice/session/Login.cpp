#include "drivers/httpdevice/session/Login.h"

#include <json/value.h>
#include <json/writer.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <utility>

#include "deviceapi/Tavero_Http_Encode.h"
#include "drivers/httpdevice/session/AnswerCode.h"
#include "drivers/httpdevice/session/KeyCheck.h"
#include "platform/Json.h"

namespace vms::httpdevice {
namespace {

using Api = Tavero_Http_Encode;
using Kind = LoginOutcome::Kind;

constexpr const char* kSecondFamily = "quorix";
constexpr long kHttpOk = 200;

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

/// Whether there is an answer to read, whatever it says.
bool IsAnswer(const HttpReply& reply) {
    return reply.arrived && reply.status == kHttpOk && reply.error.empty();
}

}  // namespace

KeyProof::KeyProof(const DeviceAddress& address, std::string session)
    : address_(address), session_(std::move(session)) {}

HttpRequest KeyProof::Begin() const {
    return {address_.Url(&Api::GetUrlCapability), R"({"action":"get"})", session_};
}

std::optional<HttpRequest> KeyProof::Take(const HttpReply& reply) {
    if (!IsAnswer(reply))
        return std::nullopt;
    if (std::exchange(asked_, true)) {
        believed_ = Api::DeSerializeCode(reply.body.c_str()) == 0;
        return std::nullopt;
    }
    const std::string nonce = Solve(reply.body);
    if (nonce.empty())
        return std::nullopt;
    Json::Value request;
    request["action"] = "set";
    request["data"]["nonce"] = nonce;
    return HttpRequest{address_.Url(&Api::GetUrlCapability), request.toStyledString(), session_};
}

std::string KeyProof::Solve(const std::string& answer) const {
    std::string salt;
    int iterations = 0;
    bool enableIteration = false;
    if (Api::DeSerializeCapability(answer.c_str(), salt, iterations, enableIteration) != 0 ||
        (enableIteration && iterations > kMaxIterations))
        return {};
    const char* const password = address_.Password().c_str();
    const char* const user = address_.User().c_str();
    const std::string key =
        FamilyOf(answer) == kSecondFamily
            ? Api::GetQUORIXAesKey(password, "", user, false, 0)
            : Api::GetAesKey(password, salt.c_str(), user, enableIteration, iterations);
    return AnswerKeyCheck(answer, key);
}

LoginDialog::LoginDialog(const DeviceAddress& address) : address_(address) {}

HttpRequest LoginDialog::Begin() const {
    return {address_.Url(&Api::GetUrlLoginCapabilities),
            Api::GetLoginCapabilitiesRequestData(Escaped(address_.User()).c_str()), ""};
}

std::optional<HttpRequest> LoginDialog::Take(const HttpReply& reply) {
    if (proof_)
        return TakeKeyAnswer(reply);
    if (!reply.arrived)
        return End(challenged_ ? Kind::kFellSilent : Kind::kUnreachable, "no answer");
    if (!IsAnswer(reply))
        return End(Kind::kRefused, "no login with such an answer");
    return challenged_ ? TakeSession(reply.body) : TakeChallenge(reply.body);
}

std::optional<HttpRequest> LoginDialog::TakeChallenge(const std::string& answer) {
    Challenge challenge;
    if (!challenge.Read(answer))
        return End(Kind::kRefused, "unusable challenge");
    if (challenge.AsksTooMuch())
        return End(Kind::kRefused, "asks for too many iterations");
    challenged_ = true;
    provesKey_ = challenge.IsSecondFamily();
    return HttpRequest{address_.Url(&Api::GetUrlLogin),
                       Api::GetLoginRequestData(
                           Escaped(address_.User()).c_str(), Proof(address_, challenge).c_str(),
                           Escaped(challenge.sessionId).c_str(), Now().c_str()),
                       ""};
}

std::optional<HttpRequest> LoginDialog::TakeSession(const std::string& answer) {
    std::string session;
    if (Api::DeSerializeLogin(answer.c_str(), session) != 0)
        return End(Kind::kRefused, "user or password refused");
    if (!IsUsableSession(session))
        return End(Kind::kRefused, "unusable session");
    outcome_.session = session;
    if (!provesKey_)
        return End(Kind::kDone, "");
    proof_.emplace(address_, session);
    return proof_->Begin();
}

std::optional<HttpRequest> LoginDialog::TakeKeyAnswer(const HttpReply& reply) {
    auto next = proof_->Take(reply);
    if (next)
        return next;
    if (proof_->Believed())
        return End(Kind::kDone, "");
    return End(reply.arrived ? Kind::kRefused : Kind::kFellSilent, "proof of the key failed");
}

std::nullopt_t LoginDialog::End(Kind kind, const char* reason) {
    outcome_.kind = kind;
    outcome_.reason = reason;
    return std::nullopt;
}

}  // namespace vms::httpdevice
