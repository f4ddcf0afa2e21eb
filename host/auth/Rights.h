#pragma once

#include "host/config/Role.h"
#include "host/http/HttpExchange.h"

namespace vms::host {

/// The role that a request needs, by its method and path; kNone = it is open to everybody. Whatever
/// is in no line of the table needs an admin.
Role NeededRole(const HttpRequest& request);

/// The role that a player's request on its stream connection needs: watching, playback and
/// downloads are a viewer's, talk an operator's, all else an admin's. @param command of the request
Role NeededRoleOfCommand(int command);

}  // namespace vms::host
