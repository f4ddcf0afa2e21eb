#include "host/sources/DeviceModules.h"

#include <memory>
#include <utility>

#include "platform/Json.h"

namespace vms::host {
namespace {

/// Reads the stream's key out of an answer.
std::string KeyIn(const Answer& answer, SourceProblem& problem) {
    if (!answer.Succeeded()) {
        problem = ProblemOf(answer);
        return "";
    }
    Json::Value body;
    std::string key;
    if (ParseJson(answer.body.c_str(), body))
        ReadString(body, "uri", key);
    if (key.empty())
        problem = {502, "the module has named no stream"};
    else if (key.find("://") != std::string::npos)
        problem = {409, "this device is not relayed: players open its own address"};
    return problem.status == 0 ? key : std::string();
}

}  // namespace

void DeviceModules::AskForKey(const std::string& device, __enumTvCommand id,
                              const std::string& body, KeyDone done) {
    const std::string module = moduleOf_(device);
    if (module.empty()) {
        done("", {404, "there is no such device"});
        return;
    }
    if (!places_->Enter(device)) {
        done("", {503, "too many requests wait for this device"});
        return;
    }
    // The place is given back when the module is through, however early the wait ended.
    auto place = std::shared_ptr<void>(
        places_.get(), [places = places_, device](void*) { places->Leave(device); });
    bus_.AskAsync({.module = module, .id = id, .deviceId = device, .body = body},
                  {.onAnswer = {},
                   .onEnd =
                       [done = std::move(done)](const Answer& answer) {
                           SourceProblem problem;
                           const std::string key = KeyIn(answer, problem);
                           done(key, problem);
                       },
                   .hold = std::move(place)},
                  kPatience);
}

bool DeviceModules::Places::Enter(const std::string& device) {
    MutexLock lock(mutex_);
    int& waiting = waiting_[device];
    if (waiting >= kMostWaiting)
        return false;
    ++waiting;
    return true;
}

void DeviceModules::Places::Leave(const std::string& device) {
    MutexLock lock(mutex_);
    const auto entry = waiting_.find(device);
    if (entry != waiting_.end() && --entry->second <= 0)
        waiting_.erase(entry);
}

}  // namespace vms::host
