#include "host/auth/Doors.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>

#include "host/auth/Rights.h"
#include "host/auth/SessionCookie.h"
#include "host/http/HttpTarget.h"
#include "host/http/HttpText.h"
#include "host/text/HostError.h"
#include "platform/ILogHandler.h"

namespace vms::host {
namespace {

constexpr int kUnauthorized = 401;
constexpr int kForbidden = 403;
constexpr char kConfiguredToken[] = "http.token";
constexpr char kAnonymous[] = "anonymous";
constexpr char kSigned[] = "signed address";

int64_t WallClock() {
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::string MachineName() {
    char name[256] = "";
    return gethostname(name, sizeof name - 1) == 0 ? name : "";
}

bool IsLoopback(const std::string& host) {
    in_addr four{};
    in6_addr six{};
    if (inet_pton(AF_INET, host.c_str(), &four) == 1)
        return (ntohl(four.s_addr) >> 24) == IN_LOOPBACKNET;
    if (inet_pton(AF_INET6, host.c_str(), &six) == 1)
        return IN6_IS_ADDR_LOOPBACK(&six) ||
               (IN6_IS_ADDR_V4MAPPED(&six) && six.s6_addr[12] == IN_LOOPBACKNET);
    return SameLetters(host, "localhost");
}

std::vector<UserRecord> Configured(const HostConfig& config, const Credentials& credentials) {
    std::vector<UserRecord> users;
    for (const UserConfig& user : config.users) {
        if (const std::string problem = NameProblem(user.name); !problem.empty())
            throw HostError("users: " + problem);
        if (const std::string problem = PasswordProblem(user.password); !problem.empty())
            throw HostError("users: \"" + user.name + "\": " + problem);
        users.push_back(credentials.MakeConfiguredUser(user.name, user.role, user.password));
    }
    return users;
}

std::vector<TokenRecord> ConfiguredToken(const HttpConfig& config, const Credentials& credentials) {
    if (config.token.empty())
        return {};
    TokenRecord token = credentials.MakeToken(kConfiguredToken, Role::kAdmin, config.token, 0, 0);
    token.isConfigured = true;
    return {token};
}

/// "Bearer T", or ?token=T; "" = neither.
std::string TokenOf(std::string_view authorization, const HttpRequest& request) {
    static constexpr std::string_view kScheme = "Bearer ";
    if (SameLetters(authorization.substr(0, kScheme.size()), kScheme)) {
        authorization.remove_prefix(kScheme.size());
        authorization.remove_prefix(
            std::min(authorization.find_first_not_of(' '), authorization.size()));
        return std::string(authorization);
    }
    return ValueIn(request.query, "token");
}

HttpAdmission Welcome(Identity identity) {
    HttpAdmission admission;
    admission.identity = std::move(identity);
    return admission;
}

/// "rtsp://host:port" taken off, so that the rest reads as any target.
std::string WithoutHost(const std::string& uri) {
    const size_t slashes = uri.find("://");
    if (slashes == std::string::npos)
        return uri;
    const size_t end = uri.find_first_of("/?", slashes + 3);
    if (end == std::string::npos)
        return "/";
    return uri[end] == '?' ? "/" + uri.substr(end) : uri.substr(end);
}

/// Whether a login was made for this request: for its address, or for the whole of which it asks a
/// part, as players of RTSP do.
bool IsFor(const DigestHeader& header, const HttpRequest& request) {
    const std::string of = WithoutHost(header.uri);
    return request.target == of || request.target.starts_with(of + "/");
}

}  // namespace

Doors::Doors(const HostConfig& config, State& state, ILogHandler& log, Accounts::Clock clock)
    : clock_(clock ? std::move(clock) : WallClock),
      lasts_(state.Data().Lasts()),
      origins_({config.http.host, config.http.advertise, MachineName()}),
      credentials_(state),
      accounts_(Accounts::Make(state.Data(), Configured(config, credentials_),
                               ConfiguredToken(config.http, credentials_), clock_)),
      signer_(credentials_.SigningKey()),
      digest_(credentials_.Realm()),
      log_(log),
      logins_(accounts_, delays_, log_) {}

void Doors::RequireGuarded(const std::string& host, const std::string& member) const {
    if (IsLoopback(host) || accounts_->AreAny())
        return;
    throw HostError(member + " \"" + host +
                    "\" lets other machines in, and there are neither users nor a token: add one "
                    "with 'vmshost user add NAME --role admin --config FILE', or set http.token");
}

HttpGate Doors::Gate() {
    return [this](const HttpRequest& head, const std::function<void(HttpAdmission)>& done) {
        done(Admit(head));
    };
}

HttpAdmission Doors::Admit(const HttpRequest& request) {
    const Role needed = NeededRole(request);
    if (request.path == "/healthz")
        return 0;
    if (HttpOrigins::IsForeign(request))
        return kForbidden;
    if (needed == Role::kNone)
        return 0;
    HttpAdmission admission = Identify(request);
    if (admission.refusal == 0 && admission.identity.role < needed)
        return {kForbidden, "this needs the role " + RoleName(needed)};
    return admission;
}

/// What a request brings counts, whatever else it could have brought.
HttpAdmission Doors::Identify(const HttpRequest& request) {
    if (const std::string token = TokenOf(request.authorization, request); !token.empty()) {
        auto identity = accounts_->FindToken(token);
        return identity ? Welcome(std::move(*identity)) : HttpAdmission(kUnauthorized);
    }
    if (request.query.count("signature") != 0)
        return IdentifySigned(request);
    if (const std::string key = SessionKeyIn(request.Header("Cookie")); !key.empty())
        return IdentifySession(request, key);
    return IdentifyNobody(request);
}

HttpAdmission Doors::IdentifySigned(const HttpRequest& request) const {
    if (request.method != "GET")
        return kUnauthorized;
    switch (signer_.Check(request, clock_())) {
        case SignedAddress::Outcome::kGood:
            return Welcome({kSigned, Role::kViewer});
        case SignedAddress::Outcome::kExpired:
            return {kUnauthorized, "this address has expired"};
        default:
            return {kUnauthorized, "this address is not signed here"};
    }
}

HttpAdmission Doors::IdentifySession(const HttpRequest& request, const std::string& key) {
    auto identity = accounts_->FindSession(key);
    if (!identity)
        return accounts_->AreAny() ? HttpAdmission(kUnauthorized, "the session has ended")
                                   : IdentifyNobody(request);
    // A browser sends the cookie whoever has made it ask.
    if (request.method != "GET" && !HttpOrigins::IsOwn(request))
        return kForbidden;
    return Welcome(std::move(*identity));
}

HttpAdmission Doors::IdentifyNobody(const HttpRequest& request) const {
    if (accounts_->AreAny() || !IsLoopback(request.peerAddress))
        return kUnauthorized;
    if (!origins_.IsOwnName(request))
        return kForbidden;
    return Welcome({kAnonymous, Role::kAdmin, accounts_->Anonymous()});
}

void Doors::Authenticate(const std::string& method, const std::string& uri,
                         const std::string& authorization, const std::string& peer,
                         const std::function<void(const Entrance&)>& done) {
    HttpRequest request;
    request.method = "GET";
    request.peerAddress = peer;
    request.target = WithoutHost(uri);
    if (!ReadHttpTarget(request.target, request)) {
        done({.status = kForbidden, .text = "no such address can be"});
        return;
    }
    Entrance entrance = Enter(method, request, authorization);
    const Role needed = NeededRole(request);
    if (entrance.status == 0 && entrance.identity.role < needed)
        entrance = {.status = kForbidden, .text = "this needs the role " + RoleName(needed)};
    done(entrance);
}

Doors::Entrance Doors::Enter(const std::string& method, const HttpRequest& request,
                             const std::string& authorization) {
    if (const auto header = ReadDigestHeader(authorization))
        return EnterByDigest(method, request, *header);
    HttpAdmission admission;
    if (const std::string token = TokenOf(authorization, request); !token.empty()) {
        auto identity = accounts_->FindToken(token);
        admission = identity ? Welcome(std::move(*identity)) : HttpAdmission(kUnauthorized);
    } else if (request.query.count("signature") != 0) {
        admission = IdentifySigned(request);
    } else {
        admission = IdentifyNobody(request);
    }
    if (admission.refusal == 0)
        return {.status = 0, .identity = std::move(admission.identity)};
    Entrance entrance = Challenge(request.peerAddress, false);
    entrance.text = admission.text;
    return entrance;
}

Doors::Entrance Doors::EnterByDigest(const std::string& method, const HttpRequest& request,
                                     const DigestHeader& header) {
    const std::string& peer = request.peerAddress;
    const std::string group = AddressGroup(peer);
    const auto now = DigestAccess::Clock::now();
    const auto wait = delays_.Wait(group, header.username, now);
    if (wait.count() > 0)
        return {.status = 429, .retryAfter = wait, .text = "too many attempts"};

    // The secrets that would do, and whose they are.
    std::vector<DigestSecret> secrets;
    std::vector<Identity> identities;
    const auto add = [&](const std::string& sealed, std::optional<Identity> identity) {
        auto secret = credentials_.OpenDigest(sealed);
        if (secret && identity) {
            secrets.push_back(std::move(*secret));
            identities.push_back(std::move(*identity));
        }
    };
    if (header.username == kTokenUser) {
        for (const TokenRecord& token : accounts_->Tokens())
            add(token.digest, accounts_->TokenIdentity(token.name));
    } else if (const auto user = accounts_->FindUser(header.username)) {
        add(user->digest, accounts_->IdentityOf(user->name));
    }

    size_t matched = 0;
    switch (IsFor(header, request) ? digest_.Check(header, method, peer, secrets, now, matched)
                                   : DigestAccess::Outcome::kWrong) {
        case DigestAccess::Outcome::kGood:
            delays_.Succeeded(group, header.username);
            return {.status = 0, .identity = identities[matched]};
        case DigestAccess::Outcome::kStale:
            return Challenge(peer, true);
        case DigestAccess::Outcome::kWrong:
            break;
    }
    delays_.Failed(group, header.username, now);
    log_.Log(2, "Login", "a player's login from %s is refused", peer.c_str());
    return Challenge(peer, false);
}

Doors::Entrance Doors::Challenge(const std::string& peer, bool isStale) const {
    return {.status = kUnauthorized,
            .challenges = digest_.Challenges(peer, isStale, DigestAccess::Clock::now()),
            .text = "a login is needed"};
}

}  // namespace vms::host
