// WS-Discovery on loopback and over two wires. Runs in network namespaces of its own.
#include <gtest/gtest.h>
#include <json/json.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

#include "onvif/OnvifDeviceSearch.h"
#include "tests/support/Devsim.h"
#include "tests/support/PrivateNetwork.h"

namespace {

using vms::test::ChildProcess;
using vms::test::Devsim;
using vms::test::Run;

std::multiset<std::string> Search() {
    std::multiset<std::string> found;
    OnvifDeviceSearch search;
    EXPECT_EQ(
        search.start(
            [&found](__tagTvSearchDeviceParam* device, void* user) {
                EXPECT_EQ(user, nullptr);
                found.insert(device->name + " " + device->ip + ":" + std::to_string(device->port));
            },
            nullptr),
        0);
    return found;
}

std::string Expected(const vms::test::SimulatedCamera& camera, const std::string& name) {
    return name + " " + camera.address + ":" + std::to_string(camera.port);
}

class DiscoveryTest : public testing::Test {
protected:
    void SetUp() override { setenv("VMS_LOCAL_IPS", "127.0.0.1", 1); }
};

TEST_F(DiscoveryTest, CamerasAreReportedWithNameAndAddress) {
    Devsim devsim({"--count", "3", "--no-rtsp", "--name", "Front Door", "--discovery-delay-ms",
                   "100", "--fault", "1:discoveryNoName", "--fault", "2:discoveryXAddrsList"});
    const std::multiset<std::string> found = Search();
    EXPECT_EQ(found, (std::multiset<std::string>{Expected(devsim.Camera(0), "Front%20Door%200"),
                                                 Expected(devsim.Camera(1), ""),
                                                 Expected(devsim.Camera(2), "Front%20Door%202")}));
}

// Some cameras leave out the percent-encoding, and some of those speak another encoding.
TEST_F(DiscoveryTest, NamesKeepTheirLetters) {
    for (const std::string name : {"Вход&\U0001F4F7", "Tor\xfc\xe4\xb8"}) {
        for (const char* writing : {"discoveryPlainName", "references"}) {
            Devsim devsim({"--count", "1", "--no-rtsp", "--name", name, "--discovery-delay-ms", "0",
                           "--fault", "0:discoveryPlainName", "--fault",
                           std::string("0:") + writing});
            EXPECT_EQ(Search(), (std::multiset<std::string>{Expected(devsim.Camera(0), name)}));
        }
    }
}

TEST_F(DiscoveryTest, AMessageWithAnEmptyBodyDoesNotEndTheProbe) {
    for (const char* body : {"", "=", "= ", "=text"}) {
        Devsim devsim({"--count", "1", "--no-rtsp", "--discovery-delay-ms", "0", "--fault",
                       std::string("0:discoveryEmptyBody") + body});
        EXPECT_EQ(Search().size(), 1U) << "'" << body << "'";
    }
}

TEST_F(DiscoveryTest, TwoHundredAnswersInOneBurstAllArrive) {
    Devsim devsim(
        {"--count", "0", "--no-rtsp", "--discovery-delay-ms", "0", "--discovery-burst", "200"});
    EXPECT_EQ(Search().size(), 200U);
}

TEST_F(DiscoveryTest, UnusableMatchesAreDroppedOneByOne) {
    Devsim devsim({"--count", "5", "--no-rtsp", "--name", "Cam", "--discovery-delay-ms", "100",
                   "--fault", "0:discoveryNoXAddrs", "--fault", "1:discoveryXAddrsJunk", "--fault",
                   "2:discoveryEmpty", "--fault", "3:discoverySilent"});
    EXPECT_EQ(Search(), (std::multiset<std::string>{Expected(devsim.Camera(4), "Cam%204")}));
}

// Junk ends the probe of the address it came in on; the next address is probed all the same.
TEST_F(DiscoveryTest, JunkEndsOnlyItsOwnProbe) {
    setenv("VMS_LOCAL_IPS", "127.0.0.1,127.0.0.1", 1);
    for (const char* fault : {"discoveryJunk", "discoveryTruncated"}) {
        Devsim devsim({"--count", "1", "--no-rtsp", "--discovery-delay-ms", "0", "--fault",
                       std::string("0:") + fault});
        EXPECT_TRUE(Search().empty()) << fault;
    }
    Devsim healthy({"--count", "1", "--no-rtsp", "--discovery-delay-ms", "0"});
    EXPECT_FALSE(Search().empty());
}

TEST_F(DiscoveryTest, UnusableLocalAddressesAreSkipped) {
    Devsim devsim({"--count", "1", "--no-rtsp", "--discovery-delay-ms", "0"});
    setenv("VMS_LOCAL_IPS", "198.51.100.77,127.0.0.1", 1);
    EXPECT_EQ(Search().size(), 1U);
    OnvifDeviceSearch search;
    EXPECT_EQ(search.SearchDevice(nullptr, nullptr), 0);
    EXPECT_EQ(search.SearchDevice(nullptr, "127.0.0.1"), 0) << "a search without a callback";
    EXPECT_EQ(OnvifDeviceSearch(true).SearchDevice(nullptr, "::1"), 0);
}

/// Two virtual wires to a second namespace in which the camera lives.
class TwoWires {
public:
    TwoWires() : camera_({"unshare", "--net", "sh", "-c", "echo ready; exec sleep 120"}) {
        std::string line;
        up_ = camera_.ReadLine(line, std::chrono::seconds(10));
        for (int wire = 0; wire < 2; ++wire)
            up_ = up_ && Lay(wire);
        up_ = up_ && Inside({"ip", "link", "set", "lo", "up"}) == 0;
    }
    ~TwoWires() {
        Run({"ip", "link", "del", "wire0"});
        Run({"ip", "link", "del", "wire1"});
    }
    TwoWires(const TwoWires&) = delete;
    TwoWires& operator=(const TwoWires&) = delete;

    bool IsUp() const { return up_; }

    std::vector<std::string> InsideCommand(const std::vector<std::string>& command) const {
        std::vector<std::string> all{"nsenter",
                                     "--net=/proc/" + std::to_string(camera_.Pid()) + "/ns/net"};
        all.insert(all.end(), command.begin(), command.end());
        return all;
    }

private:
    int Inside(const std::vector<std::string>& command) const {
        return Run(InsideCommand(command));
    }

    bool Lay(int wire) const {
        const std::string near = "wire" + std::to_string(wire);
        const std::string far = "cam" + std::to_string(wire);
        const std::string net = "10.77." + std::to_string(wire) + ".";
        return Run({"ip", "link", "add", near, "type", "veth", "peer", "name", far}) == 0 &&
               Run({"ip", "link", "set", far, "netns", std::to_string(camera_.Pid())}) == 0 &&
               Run({"ip", "addr", "add", net + "1/24", "dev", near}) == 0 &&
               Run({"ip", "link", "set", near, "up"}) == 0 &&
               Inside({"ip", "addr", "add", net + "2/24", "dev", far}) == 0 &&
               Inside({"ip", "link", "set", far, "up"}) == 0;
    }

    ChildProcess camera_;
    bool up_ = false;
};

std::vector<Json::Value> ReadLog(const std::string& path) {
    std::vector<Json::Value> lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        Json::Value entry;
        std::istringstream(line) >> entry;
        lines.push_back(entry);
    }
    return lines;
}

TEST_F(DiscoveryTest, OneProbeLeavesOnEachWireAndTheCameraIsSeenTwice) {
    unsetenv("VMS_LOCAL_IPS");
    TwoWires wires;
    ASSERT_TRUE(wires.IsUp());
    const std::string log = testing::TempDir() + "discovery-two-wires.json";
    std::remove(log.c_str());
    ChildProcess devsim(wires.InsideCommand({DEVSIM_PATH, "onvif", "--bind", "0.0.0.0", "--no-rtsp",
                                             "--name", "Gate", "--port-base", "8001",
                                             "--discovery-delay-ms", "0", "--discovery-log", log}));
    std::string line;
    while (line.find("\"ready\"") == std::string::npos)
        ASSERT_TRUE(devsim.ReadLine(line, std::chrono::seconds(30)));

    EXPECT_EQ(Search(), (std::multiset<std::string>{"Gate 10.77.0.2:8001", "Gate 10.77.1.2:8001"}));

    const std::vector<Json::Value> probes = ReadLog(log);
    ASSERT_EQ(probes.size(), 2U);
    EXPECT_EQ(probes[0]["interface"], "cam0");
    EXPECT_EQ(probes[1]["interface"], "cam1");
    EXPECT_NE(probes[0]["messageId"], probes[1]["messageId"]);
    const std::string bytes = probes[0]["bytes"].asString();
    for (const char* part :
         {"http://www.w3.org/2003/05/soap-envelope",
          "http://schemas.xmlsoap.org/ws/2005/04/discovery",
          "http://www.onvif.org/ver10/network/wsdl", ">dn:NetworkVideoTransmitter<",
          ">urn:schemas-xmlsoap-org:ws:2005:04:discovery<",
          ">http://schemas.xmlsoap.org/ws/2005/04/discovery/Probe<",
          "http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous"})
        EXPECT_NE(bytes.find(part), std::string::npos) << part;
    EXPECT_EQ(bytes.find("Scopes"), std::string::npos);
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (!vms::test::EnterPrivateNetwork()) {
        std::puts("network namespaces are not allowed here");
        return 77;  // ctest: skipped
    }
    return RUN_ALL_TESTS();
}
