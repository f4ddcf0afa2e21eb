#include "sim/onvif/Fault.h"

#include <stdexcept>

#include <gtest/gtest.h>

#include "sim/onvif/FaultAssignment.h"

namespace vms::sim {
namespace {

TEST(FaultRule, ReadsOperationAndValue) {
    const FaultRule rule = ParseFaultRule("slow@GetProfiles=250");
    EXPECT_EQ(rule.fault, Fault::kSlow);
    EXPECT_EQ(rule.operation, "GetProfiles");
    EXPECT_EQ(rule.Number(), 250);
    EXPECT_EQ(ParseFaultRule("fault").operation, "GetCapabilities");
    EXPECT_EQ(ParseFaultRule("redirect=http://a/b?c=d@e").value, "http://a/b?c=d@e");
}

TEST(FaultRule, RefusesUnknownNamesAndBadNumbers) {
    for (const char* bad : {"", "nonsense", "slow=quick", "profiles=2001", "delay="})
        EXPECT_THROW(ParseFaultRule(bad), std::invalid_argument) << bad;
}

TEST(FaultSet, ARuleForTheOperationWinsAndOthersDoNotApply) {
    FaultSet faults;
    faults.Add(ParseFaultRule("delay=1"));
    faults.Add(ParseFaultRule("delay@GetProfiles=2"));
    faults.Add(ParseFaultRule("silent@GetStreamUri"));
    faults.Add(ParseFaultRule("delay@GetProfiles=3"));

    EXPECT_EQ(faults.Find(Fault::kDelay, "GetProfiles")->Number(), 3);
    EXPECT_EQ(faults.Find(Fault::kDelay, "GetCapabilities")->Number(), 1);
    EXPECT_TRUE(faults.Has(Fault::kSilent, "GetStreamUri"));
    EXPECT_FALSE(faults.Has(Fault::kSilent, "GetProfiles"));
}

TEST(FaultAssignment, ReachesTheCamerasNamedAndNoOthers) {
    std::vector<CameraConfig> cameras(4);
    AssignFault("1-2:silent", cameras);
    AssignFault("*:noMedia", cameras);
    AssignFault("3:emptyUri", cameras);

    EXPECT_EQ(cameras[0].faults.Describe(), std::vector<std::string>{"noMedia"});
    EXPECT_TRUE(cameras[1].faults.Has(Fault::kSilent));
    EXPECT_TRUE(cameras[2].faults.Has(Fault::kSilent));
    EXPECT_TRUE(cameras[3].faults.Has(Fault::kEmptyUri));
    for (const char* bad :
         {"silent", "4:silent", "2-1:silent", "-1:silent", "1-:silent", ":silent", "x:silent"})
        EXPECT_THROW(AssignFault(bad, cameras), std::invalid_argument) << bad;
}

}  // namespace
}  // namespace vms::sim
