#include "videodevice/ModuleParts.h"

namespace vms {

void ModuleParts::ShutDown() {
    workers.Join();
    for (const auto& talk : talkTable.TakeAll())
        Guarded("StopTalk", [&] { talk->StopTalk(); });
    for (const auto& removal : syncTable.TakeAll())
        syncPlayback.Retire(removal);
    for (const auto& stream : streams.TakeAll())
        retirement.RetireStream(stream);
    retirement.Clear();
    devices.Clear();
    workers.Join();
}

}  // namespace vms
