#pragma once

#include <gtest/gtest.h>

#include "module/DeviceRecords.h"
#include "module/LogSink.h"
#include "platform/ILogHandler.h"
#include "tests/websocket/Fakes.h"

namespace vms::test {

using Lines = std::vector<std::string>;

class SourceTest : public testing::Test {
protected:
    SourceTest() {
        device_.ip = "10.0.0.7";
        device_.port = 8080;
        device_.httpsEnable = true;
        GiveClients(ClientKind::kFake);
        TheJournal().Take();
        SetLogSink(&TheJournal());
    }
    ~SourceTest() override { SetLogSink(nullptr); }

    static Lines Journal() { return TheJournal().Take(); }

    __tagTvVideoParam device_;
    FakeSink sink_;
};

}  // namespace vms::test
