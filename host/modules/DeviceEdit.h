#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "host/modules/DeviceLists.h"
#include "platform/Mutex.h"

namespace vms::host {

/// The way of late answers back to the thread of a DeviceLists, as long as it is there.
class EditInbox {
public:
    explicit EditInbox(DeviceLists& lists) : lists_(&lists) {}

    void Put(std::function<void()> answer) VMS_EXCLUDES(mutex_);
    void Close() VMS_EXCLUDES(mutex_);

private:
    Mutex mutex_;
    DeviceLists* lists_ VMS_GUARDED_BY(mutex_);
};

/// One change of one device, from the request to its outcome: the module lets go of the old
/// description, takes the new one, the state keeps it. What fails on the way undoes what was done
/// before. Of the thread of its DeviceLists.
class DeviceEdit : public std::enable_shared_from_this<DeviceEdit> {
public:
    /// Makes the new description of the old one (null = there is none yet; becoming null = there is
    /// none any more). What is wrong, kDone = nothing.
    using Make = std::function<ChangeOutcome(Json::Value& description)>;

    DeviceEdit(std::string id, std::string module, Make make, DeviceLists::ChangeDone done)
        : id_(std::move(id)),
          module_(std::move(module)),
          make_(std::move(make)),
          done_(std::move(done)) {}

    const std::string& Module() const { return module_; }

    /// @param lists must outlive the edit's steps: they come through its inbox
    void Begin(DeviceLists& lists);

    void End(const ChangeOutcome& outcome);

private:
    using Step = void (DeviceEdit::*)();

    ChangeOutcome Prepare();
    void LetGo();
    void TakeIn();
    void Store();
    void Settle();
    void Tell(__enumTvCommand command, const Json::Value& device, Step next);
    void Told(const Answer& answer, Step next);
    void Stored(const std::string& problem);
    void Fail(const ChangeOutcome& outcome);
    void Undo();
    BusRequest Request(__enumTvCommand command, const Json::Value& device) const;

    const std::string id_;
    const std::string module_;
    const Make make_;
    const DeviceLists::ChangeDone done_;
    DeviceLists* lists_ = nullptr;
    Json::Value old_;          ///< null = none
    Json::Value new_;          ///< null = none
    bool hasLetGo_ = false;    ///< the module has been told to
    bool hasTakenIn_ = false;  ///< the module has been told to
};

}  // namespace vms::host
