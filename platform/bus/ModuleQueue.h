#pragma once

#include <cstddef>
#include <deque>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/bus/BusRequest.h"

namespace vms {

/// Decides which requests of one module may run now. Requests to one device run one after the
/// other, those to different devices or to none side by side; a change of the device list runs
/// alone, after everything that came before it and before everything that came after. Not
/// thread-safe.
class ModuleQueue {
public:
    using RequestPtr = std::shared_ptr<BusRequest>;
    using Ready = std::vector<RequestPtr>;

    /// Takes a request; appends to `ready` what may start because of it.
    void Arrive(RequestPtr request, Ready& ready);

    /// Notes that a request which was ready has ended; appends what may start because of it.
    void Finish(const BusRequest& request, Ready& ready);

    /// True when nothing runs and nothing waits.
    bool IsIdle() const { return active_ == 0 && held_.empty(); }

private:
    static bool IsBarrier(const BusRequest& request);
    static bool HasNoOrder(const BusRequest& request) { return request.deviceId.empty(); }

    bool Admit(RequestPtr& request, Ready& ready);
    void ContinueStrand(const std::string& deviceId, Ready& ready);

    size_t active_ = 0;            ///< admitted and not finished
    bool barrierRunning_ = false;  ///< then it is the only active one
    /// Per device with an active request: those that wait for it.
    std::unordered_map<std::string, std::list<RequestPtr>> strands_;
    /// Behind a barrier, the barrier itself included, in order of arrival.
    std::deque<RequestPtr> held_;
};

}  // namespace vms
