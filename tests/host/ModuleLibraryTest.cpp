// Loading, starting and ending modules inside the process.
#include "host/modules/ModuleLibrary.h"

#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>

#include "host/modules/Host.h"
#include "host/text/HostError.h"
#include "tests/host/TemporaryFile.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using vms::host::Answer;

std::string LoadProblem(const std::string& path) {
    vms::host::BusClient bus;
    try {
        const vms::host::ModuleLibrary library(path, bus.Bus());
        return "";
    } catch (const vms::host::HostError& error) {
        EXPECT_THAT(error.what(), HasSubstr(path));
        return error.what();
    }
}

vms::host::ModuleConfig Config(const std::string& name, const std::string& library = FAKE_MODULE) {
    vms::host::ModuleConfig config;
    config.name = name;
    config.library = library;
    return config;
}

Answer Call(vms::host::Host& host, const std::string& module) {
    return host.Bus().Ask({module, TV_CMD_GET_CAPABILITY, "cam", "{}"}, std::chrono::seconds(20));
}

TEST(ModuleLibrary, OnlyALibraryWithAnEntryPointOfItsOwnIsLoaded) {
    EXPECT_EQ(LoadProblem(FAKE_MODULE), "");
    EXPECT_THAT(LoadProblem("/nowhere/x.so"), HasSubstr("no module library at"));
    const vms::host::test::TemporaryFile text("not a library");
    EXPECT_THAT(LoadProblem(text.Path()), HasSubstr("cannot load"));
    EXPECT_THAT(LoadProblem(PLATFORM_LIBRARY), HasSubstr("exports no GetModuleInstance"));
    EXPECT_THAT(LoadProblem(FORGETFUL_FAMILY),
                AllOf(HasSubstr("belongs to"), HasSubstr("fake_module")));
}

TEST(ModuleSet, AStoppedModuleIsOffTheBusAndCanBeStartedAgain) {
    vms::host::Host host({});
    for (int round = 0; round < 2; ++round) {
        host.Modules().Start(Config("fake"));
        EXPECT_EQ(Call(host, "fake").body, "cam says \"{}\"");
        ASSERT_TRUE(host.Modules().StopWithin(std::chrono::seconds(20)));
        EXPECT_EQ(Call(host, "fake").kind, Answer::Kind::kNoHandler);
    }
}

TEST(ModuleSet, OneLibraryCannotBeTwoModules) {
    vms::host::Host host({});
    host.Modules().Start(Config("first"));
    try {
        host.Modules().Start(Config("second"));
        FAIL() << "started twice";
    } catch (const vms::host::HostError& error) {
        EXPECT_THAT(error.what(), AllOf(HasSubstr("\"first\""), HasSubstr("\"second\"")));
    }
    EXPECT_TRUE(Call(host, "first").Succeeded());
}

}  // namespace
