#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "drivers/httpdevice/HttpDeviceFactory.h"
#include "tests/drivers/httpdevice/HttpDevsim.h"
#include "tests/drivers/mediafile/UnitRecorder.h"
#include "videodevice/IVideoDevice.h"

namespace vms::httpdevice {

using mediafile::Eventually;
using mediafile::Unit;
using mediafile::UnitRecorder;

inline constexpr int kUntil = 1714780800;  ///< 2024-05-04 00:00:00 UTC, end of all recordings
inline constexpr int kHour = 3600;
inline constexpr int kDay = 24 * kHour;

/// A factory and the drivers it makes.
class FamilyFixture : public testing::Test {
protected:
    void SetUp() override { Init("requestTimeoutMs=5000"); }
    void Init(const std::string& settings) {
        __tagTvStreamServerParam param;
        param.content = settings;
        ASSERT_TRUE(factory_.Init(&param));
    }

    std::shared_ptr<IVideoDevice> Make(const __tagTvVideoParam& description) {
        __tagTvVideoParam copy = description;
        return std::shared_ptr<IVideoDevice>(factory_.CreateDevice(&copy));
    }

    HttpDeviceFactory factory_;
};

/// Whether the device answers an ordinary command.
inline bool Works(IVideoDevice& device) {
    __tagTvDeviceCapability capability;
    return device.GetCapability(&capability) == 0;
}

}  // namespace vms::httpdevice
