#include "host/server/RtspDoor.h"

#include <utility>

namespace vms::host {

void RtspDoor::Check(const RtspCredentials& credentials, Done done) {
    doors_.Authenticate(credentials.method, credentials.uri, credentials.authorization,
                        credentials.peer.address,
                        [done = std::move(done)](const Doors::Entrance& entrance) {
                            done({.status = entrance.status == 0 ? 200 : entrance.status,
                                  .challenges = entrance.challenges,
                                  .retryAfter = static_cast<int>(entrance.retryAfter.count()),
                                  .grant = entrance.identity.grant});
                        });
}

}  // namespace vms::host
