// Pure text rules: preview URLs, discovery addresses and names.
#include <gtest/gtest.h>

#include <locale>
#include <stdexcept>
#include <vector>

#include "onvif/OnvifDeviceSearch.h"
#include "onvif/OnvifImplement.h"
#include "onvif/PreviewUrl.h"

namespace {

__tagTvVideoParam Device(const char* user, const char* password) {
    __tagTvVideoParam device;
    device.ip = "10.0.0.5";
    device.username = user;
    device.password = password;
    return device;
}

TEST(PreviewUrl, PutsCredentialsIntoWhatTheCameraGave) {
    const struct {
        const char* raw;
        const char* user;
        const char* password;
        const char* expected;
    } cases[] = {
        {"rtsp://10.0.0.5:554/Streaming/101", "admin", "pw",
         "rtsp://admin:pw@10.0.0.5:554/Streaming/101"},
        {"rtsp://192.168.7.7/a?b=c&d=e", "", "", "rtsp://:@192.168.7.7/a?b=c&d=e"},
        {"RTSP://cam/x", "u", "p@:/", "rtsp://u:p@:/@cam/x"},
        {"rtsp://cam/live", "admin", "a b", "rtsp://admin:a"},
        {"rtsp://cam/live one", "u", "p", "rtsp://u:p@cam/live"},
        {"rtsp://", "u", "p", "rtsp://u:p@"},
        {"rtsps://elsewhere:322/x", "admin", "pw", "rtsps://admin:pw@10.0.0.5:554/31"},
        {"rtsp://cam/rtsps-relay", "admin", "pw", "rtsps://admin:pw@10.0.0.5:554/31"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(vms::MakePreviewUrl(c.raw, Device(c.user, c.password), 3, 1), c.expected)
            << c.raw;
}

/// A host's locale that groups digits and takes the second byte of a letter for a blank.
class Grouping final : public std::numpunct<char> {
    char do_thousands_sep() const override { return ' '; }
    std::string do_grouping() const override { return "\3"; }
};

class Latin1 final : public std::ctype<char> {
public:
    Latin1() : std::ctype<char>(Table().data()) {}

private:
    static const std::vector<mask>& Table() {
        static const std::vector<mask> table = [] {
            std::vector<mask> masks(classic_table(), classic_table() + table_size);
            masks[0xA0] = space;
            return masks;
        }();
        return table;
    }
};

TEST(PreviewUrl, IsTheSameInEveryLocale) {
    const std::locale before = std::locale::global(
        std::locale(std::locale(std::locale::classic(), new Grouping), new Latin1));
    const std::string secure = vms::MakePreviewUrl("rtsps:", Device("à", "Ơ"), 1000, 2000);
    const std::string number = OnvifImplement().Itostr(1234567);
    std::locale::global(before);
    EXPECT_EQ(secure, "rtsps://à:Ơ@10.0.0.5:554/10002000");
    EXPECT_EQ(number, "1234567");
}

TEST(PreviewUrl, ShortUriIsOutOfRange) {
    EXPECT_THROW(vms::MakePreviewUrl("", Device("u", "p"), 0, 0), std::out_of_range);
    EXPECT_THROW(vms::MakePreviewUrl("rtsp:/", Device("u", "p"), 0, 0), std::out_of_range);
}

struct AddressCase {
    const char* xaddrs;
    int result;
    const char* ip;
    int port;
};

void CheckAddresses(OnvifDeviceSearch& search, const std::vector<AddressCase>& cases) {
    for (const AddressCase& c : cases) {
        std::string ip;
        int port = 0;
        EXPECT_EQ(search.GetIpAndPort(c.xaddrs, ip, port), c.result) << c.xaddrs;
        if (c.result == 0) {
            EXPECT_EQ(ip, c.ip) << c.xaddrs;
            EXPECT_EQ(port, c.port) << c.xaddrs;
        }
    }
}

TEST(DiscoveryText, Ipv4Addresses) {
    OnvifDeviceSearch search;
    CheckAddresses(search,
                   {
                       {"http://192.168.1.20/onvif/device_service", 0, "192.168.1.20", 80},
                       {"http://192.168.1.20:8080/onvif/device_service", 0, "192.168.1.20", 8080},
                       {"http://a:81/x http://b:82/y", 0, "a", 81},
                       {"\n  http://a/x", 0, "a", 80},
                       {"http://a:99999999999999999999/x", 0, "a", 2147483647},
                       {"http://a:/x", 0, "a", 0},
                       {"", -1, "", 0},
                       {"http:", -1, "", 0},
                       {"http:/", -1, "", 0},
                       {"http://", -1, "", 0},
                       {"http://192.168.1.20", -1, "", 0},
                       {"http://192.168.1.20 http://b/y", -1, "", 0},
                       {"camera.example", -1, "", 0},
                   });
    std::string ip;
    int port = 0;
    EXPECT_EQ(search.GetIpAndPort(nullptr, ip, port), -1);
}

TEST(DiscoveryText, Ipv6Addresses) {
    OnvifDeviceSearch search(true);
    CheckAddresses(search, {
                               {"http://[fe80::1]/onvif/device_service", 0, "fe80::1", 80},
                               {"http://[fe80::1]:8080/onvif/device_service", 0, "fe80::1", 8080},
                               // Of a list the last counts, wherever the others stand.
                               {"http://10.0.0.1/onvif/device_service "
                                "http://[fe80::1]/onvif/device_service "
                                "http://[fe80::2]:81/onvif/device_service",
                                0, "fe80::2", 81},
                               {"http://[fe80::1]/onvif/device_service\n"
                                "http://10.0.0.1:80/onvif/device_service",
                                -1, "", 0},
                               {" http://[fe80::1]:82/onvif/device_service ", 0, "fe80::1", 82},
                               {"http://10.0.0.1:80/onvif/device_service", -1, "", 0},
                               {"http://fe80::1/onvif/device_service", -1, "", 0},
                               {"]//[x/onvif/", -1, "", 0},
                               {"/", -1, "", 0},
                               {"/onvif/", -1, "", 0},
                           });
}

TEST(DiscoveryText, NameIsTheNameScopeAsTheCameraEncodedIt) {
    OnvifDeviceSearch search;
    std::string name = "unchanged";
    EXPECT_EQ(search.GetDeviceName("onvif://www.onvif.org/hardware/X", name), -1);
    EXPECT_EQ(name, "unchanged");
    search.GetDeviceName(
        "onvif://x/y onvif://www.onvif.org/name/Front%20Door onvif://www.onvif.org/hardware/Z",
        name);
    EXPECT_EQ(name, "Front%20Door");
    search.GetDeviceName("onvif://www.onvif.org/name/", name);
    EXPECT_EQ(name, "");
    search.GetDeviceName(nullptr, name);
    EXPECT_EQ(name, "");
}

TEST(OnvifImplement, RefusesToQueryWithoutAnAddress) {
    OnvifImplement onvif;
    EXPECT_EQ(onvif.GetDeviceUri("10.0.0.5", 8080), "http://10.0.0.5:8080/onvif/device_service");
    EXPECT_EQ(onvif.GetStreamUri("", 80, "u", "p", 0), "");
    EXPECT_EQ(onvif.GetStreamUri(nullptr, 80, nullptr, nullptr, 0), "");
    EXPECT_EQ(onvif.GetStreamUri("127.0.0.1", 0, "u", "p", 0), "");
    EXPECT_EQ(onvif.InitSoapHeader(nullptr, "u", "p"), -1);
}

}  // namespace
