// A module without devices behind it. The body of TV_CMD_GET_CAPABILITY ("do") and the addresses of
// devices tell it what to do; its timer turns report every device, online and offline by turns.
// Every player that starts a preview gets one media unit of sound.
#include <cstdio>
#include <list>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "module/GetModuleInstance.h"
#include "module/IModule.h"
#include "module/IStreamModule.h"
#include "platform/CreateCommandBusInstance.h"
#include "platform/ILogHandler.h"
#include "platform/IStreamConnectionController.h"
#include "platform/Json.h"
#include "platform/Mutex.h"
#include "platform/SysCommandHelper.h"
#include "platform/VideoCommandHelper.h"

namespace {

void Answer(const __tagTvCommand& request, int result, const std::string& body) {
    __tagTvCommand* response =
        SysCommandHelper::CreateResponseCommand(&request, result, body.c_str());
    CreateCommandBusInstance()->SendResponse(response);
    SysCommandHelper::ReleaseCommand(response);
}

std::string Page(int type, const std::string& camera = {}) {
    Json::Value page(Json::objectValue);
    page["pagetype"] = type;
    if (!camera.empty()) {
        Json::Value device(Json::objectValue);
        device["name"] = camera;
        device["ip"] = "10.0.0.5";
        device["port"] = 80;
        page["devs"].append(device);
    }
    return page.toStyledString();
}

void SendPages(const __tagTvCommand& request, bool toTheEnd) {
    Answer(request, 1, Page(0));
    Answer(request, 1, Page(1, "Front%20Door\x1b[2J"));
    Answer(request, 1, Page(1, "Front%20Door\x1b[2J"));
    if (toTheEnd)
        Answer(request, 1, Page(2));
}

class FakeModule final : public IModule, public IStreamModule {
public:
    bool Init(const char* name, const char* config) override {
        name_ = name;
        Json::Value settings;
        vms::ParseJson(config, settings);
        vms::ReadString(settings, "search", search_);
        hangs_ = vms::Member(settings, "hang").asBool();
        Bind(TV_CMD_DEVICES_ENQUEUE, &FakeModule::Enqueue);
        Bind(TV_CMD_DEVICES_DEQUEUE, &FakeModule::Dequeue);
        Bind(TV_CMD_GET_PREVIEW_URL, &FakeModule::PreviewUrl);
        Bind(TV_CMD_DEVICE_TEST, &FakeModule::DeviceTest);
        Bind(TV_CMD_GET_CAPABILITY, &FakeModule::Behave);
        Bind(TV_CMD_SEARCH_DEVICE, &FakeModule::Search);
        if (vms::Member(settings, "refuse").asBool())
            log_->Log(3, "Init", "licence missing\n");
        return !vms::Member(settings, "refuse").asBool();
    }

    int UnInit() override {
        while (hangs_)
            std::this_thread::sleep_for(std::chrono::seconds(1));
        for (std::thread& worker : workers_)
            worker.join();
        workers_.clear();
        return 0;
    }

    int OnTimer() override {
        vms::MutexLock lock(mutex_);
        std::map<std::string, std::map<int, int>> status;
        for (const auto& [id, device] : devices_)
            status[id] = {{-1, online_ ? 1 : 0}, {0, online_ ? 1 : 0}};
        online_ = !online_;
        const std::string body = VideoCommandHelper::CommandSerialize_DevStatus(status);
        __tagTvCommand* report = SysCommandHelper::CreateRequestCommand(
            TV_CMD_DEVICE_STATUS, name_.c_str(), "", body.c_str(), "");
        CreateCommandBusInstance()->SendRequest(report);
        SysCommandHelper::ReleaseCommand(report);
        return 0;
    }

    void SetCallback(ILogHandler* handler) override { log_ = handler; }

    void OnConnect(long long, const char*, int) override {}
    void OnClose(long long, int, const char*) override {}
    int OnRecv(long long connection, void* request, int) override {
        const auto& record = *static_cast<__tagTvCommand*>(request);
        if (SysCommandHelper::CommandId(&record) != TV_STREAM_PREVIEW_START)
            return -1;
        std::string unit(32, '\0');
        unit[4] = unit[10] = 1;  // sound, A-law
        unit.append(68, 'u');
        return controller_->SendData(connection, unit.data(), static_cast<int>(unit.size()), false);
    }
    int OnStream(long long, void*, int) override { return 0; }
    void SetConnectionControl(IStreamConnectionController* controller) override {
        controller_ = controller;
    }

private:
    void Bind(__enumTvCommand id, void (FakeModule::*handler)(const __tagTvCommand&)) {
        CreateCommandBusInstance()->RegisterCommand(
            name_.c_str(), id,
            [this, handler](__tagTvCommand* request) { (this->*handler)(*request); });
    }

    /// A device with the address "silent" gets no answer, but its arrival is told.
    void Enqueue(const __tagTvCommand& request) {
        std::list<__tagTvVideoParam> parsed;
        VideoCommandHelper::CommandParse_Video(parsed, request.body.c_str());
        log_->Log(1, "Enqueue", "dev info=%s\n", request.body.c_str());
        vms::MutexLock lock(mutex_);
        bool silent = false;
        for (const __tagTvVideoParam& device : parsed) {
            devices_[device.id] = device;
            history_ += "+" + device.id;
            silent = silent || device.ip == "silent";
        }
        if (silent) {
            std::puts("silent");
            std::fflush(stdout);
        } else {
            Answer(request, 1, "");
        }
    }

    void Dequeue(const __tagTvCommand& request) {
        std::list<__tagTvVideoParam> parsed;
        VideoCommandHelper::CommandParse_Video(parsed, request.body.c_str());
        vms::MutexLock lock(mutex_);
        for (const __tagTvVideoParam& device : parsed) {
            devices_.erase(device.id);
            history_ += "-" + device.id;
        }
        Answer(request, 1, "");
    }

    void PreviewUrl(const __tagTvCommand& request) {
        vms::MutexLock lock(mutex_);
        const __tagTvVideoParam& device = devices_.at(request.deviceId);
        // A careless module: its log shows the login.
        log_->Log(1, "PreviewUrl", "login to rtsp://%s:%s@%s\n", device.username.c_str(),
                  device.password.c_str(), device.ip.c_str());
        if (device.ip == "unreachable")
            throw std::out_of_range("no address");
        const std::string url =
            "rtsp://" + device.username + ":" + device.password + "@" + device.ip;
        Answer(request, 1,
               VideoCommandHelper::CommandSerialize_Stream("127.0.0.1", 0, url.c_str(), 0));
    }

    void DeviceTest(const __tagTvCommand& request) {
        Json::Value device;
        vms::ParseJson(request.body.c_str(), device);
        log_->Log(1, "DeviceTest", "testing %s\n", request.body.c_str());
        const bool good = vms::Member(device, "password") == "right";
        Answer(request, good ? 1 : -1, good ? "{\n\t\"channelnum\" : 1\n}\n" : "");
    }

    void Behave(const __tagTvCommand& request) {
        Json::Value body;
        vms::ParseJson(request.body.c_str(), body);
        std::string what;
        vms::ReadString(body, "do", what);
        if (what == "throw")
            throw std::runtime_error("as told");
        if (what == "late")
            workers_.emplace_back([copy = request] { Answer(copy, 1, "late"); });
        else if (what == "pages")
            SendPages(request, true);
        else if (what == "history")
            TellHistory(request);
        else if (what == "refuse")
            Answer(request, -1, "not support");
        else if (what != "silent")
            Answer(request, 1, request.deviceId + " says \"" + request.body + "\"");
    }

    void TellHistory(const __tagTvCommand& request) {
        vms::MutexLock lock(mutex_);
        Answer(request, 1, history_);
    }

    void Search(const __tagTvCommand& request) { SendPages(request, search_ != "endless"); }

    std::string name_;
    std::string search_;
    bool hangs_ = false;
    ILogHandler* log_ = nullptr;
    IStreamConnectionController* controller_ = nullptr;
    std::vector<std::thread> workers_;  ///< touched by the requests of one device and by UnInit
    vms::Mutex mutex_;
    std::map<std::string, __tagTvVideoParam> devices_ VMS_GUARDED_BY(mutex_);
    std::string history_ VMS_GUARDED_BY(mutex_);  ///< devices that came (+) and went (-)
    bool online_ VMS_GUARDED_BY(mutex_) = true;
};

FakeModule theModule;

}  // namespace

IModule* GetModuleInstance() {
    return &theModule;
}

extern "C" __attribute__((visibility("default"))) IStreamModule* GetStreamModuleInstance() {
    return &theModule;
}
