#include "host/server/RtspDoor.h"

#include <utility>

namespace vms::host {

void RtspDoor::Check(const RtspCredentials& credentials, Done done) {
    doors_.Authenticate(credentials.method, credentials.uri, credentials.authorization,
                        credentials.peer.address,
                        [done = std::move(done)](const Doors::Entrance& entrance) {
                            done({entrance.status == 0 ? 200 : entrance.status,
                                  entrance.challenges});
                        });
}

}  // namespace vms::host
