#include "host/modules/DeviceEdit.h"

#include "host/text/JsonText.h"

namespace vms::host {

void EditInbox::Put(std::function<void()> answer) {
    MutexLock lock(mutex_);
    if (lists_ != nullptr)
        lists_->Deliver(std::move(answer));
}

void EditInbox::Close() {
    MutexLock lock(mutex_);
    lists_ = nullptr;
}

void DeviceEdit::Begin(DeviceLists& lists) {
    lists_ = &lists;
    const ChangeOutcome problem = Prepare();
    if (problem.kind != ChangeOutcome::Kind::kDone || old_ == new_)
        End(problem);
    else
        LetGo();
}

ChangeOutcome DeviceEdit::Prepare() {
    const auto known = lists_->Find(id_);
    if (known && known->module != module_)
        return {ChangeOutcome::Kind::kTaken,
                "the identifier is taken by a device of module \"" + known->module + "\""};
    if (known)
        old_ = known->description;
    new_ = old_;
    ChangeOutcome outcome = make_(new_);
    if (outcome.kind != ChangeOutcome::Kind::kDone)
        return outcome;
    if (known && !known->isAdded)
        return {ChangeOutcome::Kind::kConfigured,
                "the device stands in the configuration file, where it must be changed"};
    if (old_.isNull() && lists_->CountAdded() >= lists_->limits_.added)
        return {ChangeOutcome::Kind::kFull,
                "no more than " + std::to_string(lists_->limits_.added) + " devices can be added"};
    return outcome;
}

void DeviceEdit::LetGo() {
    if (old_.isNull()) {
        TakeIn();
        return;
    }
    hasLetGo_ = true;
    Tell(TV_CMD_DEVICES_DEQUEUE, old_, &DeviceEdit::TakeIn);
}

void DeviceEdit::TakeIn() {
    if (new_.isNull()) {
        Store();
        return;
    }
    hasTakenIn_ = true;
    Tell(TV_CMD_DEVICES_ENQUEUE, new_, &DeviceEdit::Store);
}

void DeviceEdit::Store() {
    if (lists_->store_ == nullptr) {
        Settle();
        return;
    }
    const auto done = [self = shared_from_this(),
                       inbox = lists_->inbox_](const std::string& problem) {
        inbox->Put([self, problem] { self->Stored(problem); });
    };
    if (new_.isNull())
        lists_->store_->Forget(id_, done);
    else
        lists_->store_->Keep({module_, new_}, done);
}

void DeviceEdit::Stored(const std::string& problem) {
    if (problem.empty())
        Settle();
    else
        Fail({ChangeOutcome::Kind::kNotKept, "the device could not be kept: " + problem});
}

void DeviceEdit::Settle() {
    if (new_.isNull())
        lists_->Erase(id_);
    else
        lists_->Put({module_, new_, true});
    End({});
}

BusRequest DeviceEdit::Request(__enumTvCommand command, const Json::Value& device) const {
    Json::Value devices(Json::arrayValue);
    devices.append(device);
    return {.module = module_, .id = command, .deviceId = "", .body = CompactJson(devices)};
}

void DeviceEdit::Tell(__enumTvCommand command, const Json::Value& device, Step next) {
    const auto onEnd = [self = shared_from_this(), inbox = lists_->inbox_,
                        next](const Answer& answer) {
        inbox->Put([self, answer, next] { self->Told(answer, next); });
    };
    lists_->bus_.AskAsync(Request(command, device),
                          {.onAnswer = {}, .onEnd = onEnd, .hold = nullptr},
                          lists_->limits_.patience);
}

void DeviceEdit::Told(const Answer& answer, Step next) {
    if (answer.Succeeded())
        (this->*next)();
    else if (answer.kind == Answer::Kind::kSilent)
        Fail({ChangeOutcome::Kind::kSilent, "the module has not answered"});
    else if (answer.kind == Answer::Kind::kNoHandler)
        Fail({ChangeOutcome::Kind::kRefused, "the module takes no devices"});
    else if (answer.kind == Answer::Kind::kQueueFull)
        Fail({ChangeOutcome::Kind::kFull, "too many requests are waiting"});
    else
        Fail({ChangeOutcome::Kind::kRefused, "the module did not take the change"});
}

void DeviceEdit::Fail(const ChangeOutcome& outcome) {
    Undo();
    End(outcome);
}

/// The bus keeps the order, so nobody need wait for what is told here.
void DeviceEdit::Undo() {
    const BusClient::AsyncSinks nobody{
        .onAnswer = {}, .onEnd = [](const Answer&) {}, .hold = nullptr};
    if (hasTakenIn_)
        lists_->bus_.AskAsync(Request(TV_CMD_DEVICES_DEQUEUE, new_), nobody);
    if (hasLetGo_)
        lists_->bus_.AskAsync(Request(TV_CMD_DEVICES_ENQUEUE, old_), nobody);
}

void DeviceEdit::End(const ChangeOutcome& outcome) {
    if (lists_ != nullptr)
        lists_->Ended(*this);
    try {
        done_(outcome);
    } catch (const std::exception&) {  // nobody is left to be told
    }
}

}  // namespace vms::host
