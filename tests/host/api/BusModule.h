#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "host/modules/BusClient.h"
#include "module/CommandRecord.h"
#include "platform/CommandPtr.h"
#include "platform/CreateCommandBusInstance.h"
#include "platform/Mutex.h"
#include "platform/SysCommandHelper.h"

namespace vms::host::test {

/// A module that lives on the bus alone: remembers what it is asked, and answers as it is told.
/// Thread-safe.
class BusModule {
public:
    struct Asked {
        __enumTvCommand id;
        std::string device;
        std::string body;
    };

    struct Reply {
        int result = 1;
        std::string body{};
        bool isSilent = false;
    };

    using Answering = std::function<Reply(const Asked&)>;

    explicit BusModule(std::string name) : name_(std::move(name)) {
        for (const __enumTvCommand id :
             {TV_CMD_DEVICES_ENQUEUE, TV_CMD_DEVICES_DEQUEUE, TV_CMD_SEARCH_RECORD,
              TV_CMD_DEVICE_TEST, TV_CMD_SET_CHANNEL_NAME, TV_CMD_PTZ_CONTROL,
              TV_CMD_GET_CAPABILITY, TV_CMD_QUERY_RECORD_DATE, TV_CMD_DEV_TIMING,
              TV_CMD_GET_DEVICE_TIME, TV_CMD_TRANSMISSION})
            Bind(id);
    }
    ~BusModule() { CreateCommandBusInstance()->UnregisterModule(name_.c_str()); }
    BusModule(const BusModule&) = delete;
    BusModule& operator=(const BusModule&) = delete;

    void SetAnswer(Answering answer) VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        answer_ = std::move(answer);
    }

    std::vector<Asked> All() const VMS_EXCLUDES(mutex_) {
        MutexLock lock(mutex_);
        return asked_;
    }

    /// What devices have come (+) and gone (-).
    std::string History() const VMS_EXCLUDES(mutex_) {
        std::string history;
        for (const Asked& asked : All()) {
            if (asked.id == TV_CMD_DEVICES_ENQUEUE || asked.id == TV_CMD_DEVICES_DEQUEUE)
                history += (asked.id == TV_CMD_DEVICES_ENQUEUE ? "+" : "-") + IdIn(asked.body);
        }
        return history;
    }

private:
    void Bind(__enumTvCommand id) {
        CreateCommandBusInstance()->RegisterCommand(
            name_.c_str(), id, [this, id](__tagTvCommand* request) {
                const Asked asked{id, request->deviceId, request->body};
                Answering answer;
                {
                    MutexLock lock(mutex_);
                    asked_.push_back(asked);
                    answer = answer_;
                }
                const Reply reply = answer ? answer(asked) : Reply{};
                if (reply.isSilent)
                    return;
                const CommandPtr response(SysCommandHelper::CreateResponseCommand(
                    request, reply.result, reply.body.c_str()));
                CreateCommandBusInstance()->SendResponse(response.get());
            });
    }

    static std::string IdIn(const std::string& body) {
        const size_t begin = body.find("\"id\":\"") + 6;
        return body.substr(begin, body.find('"', begin) - begin);
    }

    const std::string name_;
    mutable Mutex mutex_;
    Answering answer_ VMS_GUARDED_BY(mutex_);
    std::vector<Asked> asked_ VMS_GUARDED_BY(mutex_);
};

}  // namespace vms::host::test
