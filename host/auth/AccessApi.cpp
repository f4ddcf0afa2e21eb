#include "host/auth/AccessApi.h"

#include <utility>

#include "host/auth/AccessRequests.h"
#include "host/auth/PasswordHash.h"
#include "host/auth/SessionCookie.h"
#include "host/text/JsonText.h"
#include "platform/ILogHandler.h"

namespace vms::host {
namespace {

constexpr int64_t kSignedFor = 3600;  ///< s

HttpResponse JsonResponse(int status, const Json::Value& value) {
    return {status, "application/json", CompactJson(value) + "\n", {}};
}

HttpResponse Done() {
    return JsonResponse(200, Json::Value(Json::objectValue));
}

Json::Value IdentityText(const Identity& identity) {
    Json::Value text(Json::objectValue);
    text["name"] = identity.name;
    text["role"] = RoleName(identity.role);
    return text;
}

Json::Value UserText(const UserRecord& user) {
    Json::Value text = IdentityText({user.name, user.role});
    text["configured"] = user.isConfigured;
    if (!user.isConfigured)
        text["created"] = static_cast<Json::Int64>(user.created);
    return text;
}

Json::Value TokenText(const TokenRecord& token) {
    Json::Value text = IdentityText({token.name, token.role});
    text["configured"] = token.isConfigured;
    if (!token.isConfigured)
        text["created"] = static_cast<Json::Int64>(token.created);
    if (token.expires != 0)
        text["expires"] = static_cast<Json::Int64>(token.expires);
    return text;
}

HttpResponse TooBusy() {
    HttpResponse response = HttpFailure(429, "too many passwords are being looked at");
    response.headers["Retry-After"] = "1";
    return response;
}

/// The user or token that a path below "/api/users/" or "/api/tokens/" names.
std::string NameIn(const HttpRequest& request) {
    return request.rest.size() == 1 ? request.rest.front() : std::string();
}

constexpr char kOfConfiguration[] = "is of the configuration and can only be changed there";
constexpr char kLastAdmin[] = "nobody would be left who may change anything: keep an admin";

}  // namespace

void AccessApi::AddTo(HttpRouter& router) {
    const auto add = [&router, this](const char* method, const char* path, auto handler) {
        router.Add(method, path, [this, handler](const HttpRequest& request, const Reply& reply) {
            (this->*handler)(request, reply);
        });
    };
    add("POST", "/api/session", &AccessApi::LogIn);
    add("GET", "/api/session", &AccessApi::TellSession);
    add("PATCH", "/api/session", &AccessApi::ChangeOwnPassword);
    add("DELETE", "/api/session", &AccessApi::LogOut);
    add("POST", "/api/users", &AccessApi::AddUser);
    add("PATCH", "/api/users/", &AccessApi::ChangeUser);
    add("DELETE", "/api/users/", &AccessApi::RemoveUser);
    add("POST", "/api/tokens", &AccessApi::AddToken);
    add("DELETE", "/api/tokens/", &AccessApi::RemoveToken);
    add("POST", "/api/sign", &AccessApi::Sign);
    router.Add("GET", "/api/users",
               [this](const HttpRequest&, const Reply& reply) { ListUsers(reply); });
    router.Add("GET", "/api/tokens",
               [this](const HttpRequest&, const Reply& reply) { ListTokens(reply); });
}

void AccessApi::LogIn(const HttpRequest& request, const Reply& reply) {
    AccessBody body(request.body);
    const std::string name = body.Text("name");
    const std::string password = body.Text("password");
    if (const std::string problem = body.Problem(); !problem.empty()) {
        reply->Send(HttpFailure(400, problem));
        return;
    }
    doors_.Passwords().Begin(
        name, password, request.peerAddress,
        [reply, isSecure = request.isSecure](const Logins::Outcome& outcome) {
            HttpResponse response = outcome.status == 200
                                        ? JsonResponse(200, IdentityText(outcome.identity))
                                        : HttpFailure(outcome.status, outcome.text);
            if (outcome.status == 200)
                response.headers["Set-Cookie"] = SessionCookie(outcome.key, isSecure);
            if (outcome.status == 429)
                response.headers["Retry-After"] = std::to_string(outcome.retryAfter.count());
            reply->Send(std::move(response));
        });
}

void AccessApi::TellSession(const HttpRequest& request, const Reply& reply) const {
    reply->Send(JsonResponse(200, IdentityText(request.identity)));
}

/// Knowing the old password is needed, and guessing it is slowed down as a login is.
void AccessApi::ChangeOwnPassword(const HttpRequest& request, const Reply& reply) {
    AccessBody body(request.body);
    const std::string old = body.Text("password");
    const std::string fresh = body.Text("newPassword");
    body.Note(PasswordProblem(fresh));
    if (const std::string problem = body.Problem(); !problem.empty()) {
        reply->Send(HttpFailure(400, problem));
        return;
    }
    const auto user = doors_.People().FindUser(request.identity.name);
    if (!user || user->isConfigured) {
        reply->Send(HttpFailure(409, "your password cannot be changed here"));
        return;
    }
    doors_.Passwords().Begin(
        user->name, old, request.peerAddress,
        [this, reply, fresh, name = user->name,
         address = request.peerAddress](const Logins::Outcome& outcome) {
            if (outcome.status != 200) {
                reply->Send(
                    HttpFailure(outcome.status == 401 ? 403 : outcome.status, outcome.text));
                return;
            }
            const auto change = [this, reply, fresh, name] {
                auto changed = doors_.People().FindUser(name);
                if (!changed) {
                    reply->Send(HttpFailure(404, "the user is gone"));
                    return;
                }
                const std::string stamp = changed->stamp;
                doors_.Secrets().SetPassword(*changed, fresh);
                doors_.People().ChangeUser(*changed, stamp, Answer(reply, Done()));
            };
            if (!doors_.Passwords().PostSlow(address, change))
                reply->Send(TooBusy());
        });
}

void AccessApi::LogOut(const HttpRequest& request, const Reply& reply) {
    const auto everywhere = request.query.find("everywhere");
    HttpResponse response = Done();
    response.headers["Set-Cookie"] = SessionCookie("", request.isSecure);
    if (everywhere != request.query.end() && everywhere->second == "true") {
        doors_.People().EndSessionsOf(request.identity.name, Answer(reply, std::move(response)));
        return;
    }
    doors_.People().EndSession(SessionKeyIn(request.Header("Cookie")),
                               Answer(reply, std::move(response)));
}

void AccessApi::ListUsers(const Reply& reply) const {
    Json::Value text(Json::objectValue);
    text["users"] = Json::Value(Json::arrayValue);
    for (const UserRecord& user : doors_.People().Users())
        text["users"].append(UserText(user));
    reply->Send(JsonResponse(200, text));
}

void AccessApi::AddUser(const HttpRequest& request, const Reply& reply) {
    AccessBody body(request.body);
    const std::string name = body.Text("name");
    const std::string password = body.Text("password");
    const Role role = body.RoleOf("role");
    body.Note(NameProblem(name));
    body.Note(PasswordProblem(password));
    if (const std::string problem = body.Problem(); !problem.empty()) {
        reply->Send(HttpFailure(400, problem));
        return;
    }
    if (doors_.People().FindUser(name)) {
        reply->Send(HttpFailure(409, "a user \"" + name + "\" exists already"));
        return;
    }
    if (role != Role::kAdmin && !doors_.People().IsAdminLeftWithout("", "")) {
        reply->Send(HttpFailure(409, "the first user must be an admin"));
        return;
    }
    const auto add = [this, reply, name, password, role] {
        const UserRecord user = doors_.Secrets().MakeUser(name, role, password, doors_.Now());
        doors_.People().AddUser(user, Answer(reply, JsonResponse(201, UserText(user))));
    };
    if (doors_.Passwords().PostSlow(request.peerAddress, add))
        NoteChange(request, "a user is added");
    else
        reply->Send(TooBusy());
}

void AccessApi::ChangeUser(const HttpRequest& request, const Reply& reply) {
    AccessBody body(request.body);
    const bool hasPassword = body.Has("password");
    const std::string password = body.Text("password", false);
    auto user = doors_.People().FindUser(NameIn(request));
    const Role role = body.Has("role") ? body.RoleOf("role") : user ? user->role : Role::kNone;
    if (hasPassword)
        body.Note(PasswordProblem(password));
    if (const std::string problem = body.Problem(); !problem.empty()) {
        reply->Send(HttpFailure(400, problem));
        return;
    }
    if (!user) {
        reply->Send(HttpFailure(404, "there is no such user"));
        return;
    }
    if (user->isConfigured) {
        reply->Send(HttpFailure(409, user->name + " " + kOfConfiguration));
        return;
    }
    if (role != Role::kAdmin && !doors_.People().IsAdminLeftWithout(user->name, "")) {
        reply->Send(HttpFailure(409, kLastAdmin));
        return;
    }
    NoteChange(request, "a user is changed");
    const std::string stamp = user->stamp;
    user->role = role;
    if (!hasPassword) {
        user->stamp = RandomHex(16);
        doors_.People().ChangeUser(*user, stamp, Answer(reply, JsonResponse(200, UserText(*user))));
        return;
    }
    const auto change = [this, reply, password, stamp, changed = *user]() mutable {
        doors_.Secrets().SetPassword(changed, password);
        doors_.People().ChangeUser(changed, stamp,
                                   Answer(reply, JsonResponse(200, UserText(changed))));
    };
    if (!doors_.Passwords().PostSlow(request.peerAddress, change))
        reply->Send(TooBusy());
}

/// DELETE /api/users/NAME removes a user, DELETE /api/users/NAME/sessions logs him out everywhere.
void AccessApi::RemoveUser(const HttpRequest& request, const Reply& reply) {
    const bool isSessions = request.rest.size() == 2 && request.rest.back() == "sessions";
    const std::string name = isSessions ? request.rest.front() : NameIn(request);
    const auto user = doors_.People().FindUser(name);
    if (!user) {
        reply->Send(HttpFailure(404, "there is no such user"));
        return;
    }
    if (isSessions) {
        doors_.People().EndSessionsOf(name, Answer(reply, Done()));
        return;
    }
    if (user->isConfigured) {
        reply->Send(HttpFailure(409, name + " " + kOfConfiguration));
        return;
    }
    if (!doors_.People().IsAdminLeftWithout(name, "")) {
        reply->Send(HttpFailure(409, kLastAdmin));
        return;
    }
    NoteChange(request, "a user is removed");
    doors_.People().RemoveUser(name, Answer(reply, Done()));
}

void AccessApi::ListTokens(const Reply& reply) const {
    Json::Value text(Json::objectValue);
    text["tokens"] = Json::Value(Json::arrayValue);
    for (const TokenRecord& token : doors_.People().Tokens())
        text["tokens"].append(TokenText(token));
    reply->Send(JsonResponse(200, text));
}

void AccessApi::AddToken(const HttpRequest& request, const Reply& reply) {
    AccessBody body(request.body);
    const std::string name = body.Text("name");
    const Role role = body.RoleOf("role");
    const int64_t expires = body.Time("expires", 0);
    body.Note(NameProblem(name));
    if (expires != 0 && expires <= doors_.Now())
        body.Note("\"expires\" is in the past");
    if (const std::string problem = body.Problem(); !problem.empty()) {
        reply->Send(HttpFailure(400, problem));
        return;
    }
    if (role != Role::kAdmin && !doors_.People().IsAdminLeftWithout("", "")) {
        reply->Send(HttpFailure(409, "the first token must be an admin's, or add a user before"));
        return;
    }
    NoteChange(request, "a token is added");
    const std::string secret = RandomSecret();
    const TokenRecord token = doors_.Secrets().MakeToken(name, role, secret, doors_.Now(), expires);
    Json::Value text = TokenText(token);
    text["token"] = secret;
    doors_.People().AddToken(token, Answer(reply, JsonResponse(201, text)));
}

void AccessApi::RemoveToken(const HttpRequest& request, const Reply& reply) {
    const std::string name = NameIn(request);
    for (const TokenRecord& token : doors_.People().Tokens()) {
        if (token.name == name && token.isConfigured) {
            reply->Send(HttpFailure(409, name + " " + kOfConfiguration));
            return;
        }
    }
    if (!doors_.People().IsAdminLeftWithout("", name)) {
        reply->Send(HttpFailure(409, kLastAdmin));
        return;
    }
    NoteChange(request, "a token is removed");
    doors_.People().RemoveToken(name, Answer(reply, Done()));
}

void AccessApi::Sign(const HttpRequest& request, const Reply& reply) const {
    AccessBody body(request.body);
    const std::string path = body.Text("path");
    const int64_t seconds = body.Number("seconds", kSignedFor, 1, SignedAddress::kLongest);
    const int64_t expires = doors_.Now() + seconds;
    const auto address = doors_.Signer().Sign(path, expires);
    if (!address)
        body.Note("\"path\" must be an unsigned one below /live, /play, /download or /stream");
    if (const std::string problem = body.Problem(); !problem.empty()) {
        reply->Send(HttpFailure(400, problem));
        return;
    }
    Json::Value text(Json::objectValue);
    text["path"] = *address;
    text["expires"] = static_cast<Json::Int64>(expires);
    reply->Send(JsonResponse(200, text));
}

/// Sends a response once something is on the disk, or why it is not.
Accounts::Done AccessApi::Answer(const Reply& reply, HttpResponse response) const {
    return [reply, response = std::move(response)](const std::string& problem) {
        if (problem.empty())
            reply->Send(response);
        else if (problem.find("there is no ") == 0)
            reply->Send(HttpFailure(404, problem));
        else if (problem.find(" already") != std::string::npos)
            reply->Send(HttpFailure(409, problem));
        else
            reply->Send(HttpFailure(503, problem));
    };
}

void AccessApi::NoteChange(const HttpRequest& request, const std::string& what) const {
    log_.Log(1, "Access", "%s by \"%s\" from %s", what.c_str(), request.identity.name.c_str(),
             request.peerAddress.c_str());
    if (!doors_.Lasts())
        log_.Log(2, "Access", "%s, until the host ends: the configuration names no \"state\"",
                 what.c_str());
}

}  // namespace vms::host
