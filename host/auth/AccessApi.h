#pragma once

#include <string>

#include "host/auth/Doors.h"
#include "host/http/HttpRouter.h"

class ILogHandler;

namespace vms::host {

/// Logging in and out, users, tokens and signed addresses over HTTP: /api/session, /api/users,
/// /api/tokens, /api/sign. Who may do what the gate has seen to. Thread-safe.
class AccessApi {
public:
    /// Both must outlive this object.
    AccessApi(Doors& doors, ILogHandler& log) : doors_(doors), log_(log) {}

    /// Adds the routes; this object must outlive the router and whoever has a copy.
    void AddTo(HttpRouter& router);

private:
    using Reply = std::shared_ptr<HttpReply>;

    void LogIn(const HttpRequest& request, const Reply& reply);
    void TellSession(const HttpRequest& request, const Reply& reply) const;
    void ChangeOwnPassword(const HttpRequest& request, const Reply& reply);
    void LogOut(const HttpRequest& request, const Reply& reply);

    void ListUsers(const Reply& reply) const;
    void AddUser(const HttpRequest& request, const Reply& reply);
    void ChangeUser(const HttpRequest& request, const Reply& reply);
    void RemoveUser(const HttpRequest& request, const Reply& reply);

    void ListTokens(const Reply& reply) const;
    void AddToken(const HttpRequest& request, const Reply& reply);
    void RemoveToken(const HttpRequest& request, const Reply& reply);

    void Sign(const HttpRequest& request, const Reply& reply) const;

    Accounts::Done Answer(const Reply& reply, HttpResponse response) const;
    void NoteChange(const HttpRequest& request, const std::string& what) const;

    Doors& doors_;
    ILogHandler& log_;
};

}  // namespace vms::host
