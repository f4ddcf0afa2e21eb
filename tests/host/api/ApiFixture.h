#pragma once

#include <json/value.h>

#include <memory>
#include <string>

#include "host/api/HostApi.h"
#include "host/modules/AddedDevices.h"
#include "host/state/Database.h"
#include "host/status/EventLog.h"
#include "host/status/StatusBoard.h"
#include "platform/Json.h"
#include "tests/host/api/BusModule.h"
#include "tests/host/http/HttpServerFixture.h"

namespace vms::host::test {

/// The API over HTTP in this process, with a module "m" whose configured device is "cam".
class ApiFixture : public HttpServerFixture {
protected:
    ApiFixture() {
        config_.modules.resize(1);
        config_.modules[0].name = "m";
        config_.modules[0].library = "/lib/libfamily_fake.so";
        config_.modules[0].devices[0]["id"] = "cam";
        config_.modules[0].devices[0]["password"] = "word-77";
    }
    ~ApiFixture() override {
        Stop();
        bus_.Interrupt();
    }

    void StartApi() {
        devices_ = std::make_unique<DeviceLists>("/nowhere", "", config_, bus_, log_, &store_,
                                                 std::set<std::string>{}, deviceLimits_);
        api_ = std::make_unique<HostApi>(
            bus_, *devices_, board_,
            PlayerFigures{[] { return std::vector<PlayerInfo>(); }, [] { return StreamSummary(); }},
            &events_);
        api_->AddTo(router_);
        Start();
    }

    struct Got {
        int status = 0;
        Json::Value body;

        std::string Error() const { return body["error"].asString(); }
    };

    Got Ask(const std::string& method, const std::string& target, const std::string& body = {}) {
        const TestResponse response = Fetch(Port(), method, target, body);
        Got got{response.status, {}};
        EXPECT_TRUE(response.body.empty() || ParseJson(response.body.c_str(), got.body))
            << response.body;
        return got;
    }

    BusClient bus_;
    BusModule module_{"m"};
    HostConfig config_;
    DeviceLimits deviceLimits_;
    Database database_{nullptr};
    AddedDevices store_{database_};
    EventLog events_{database_, log_};
    StatusBoard board_{bus_.Bus(), &events_};
    std::unique_ptr<DeviceLists> devices_;
    std::unique_ptr<HostApi> api_;
};

}  // namespace vms::host::test
