#include "onvif/SearchPages.h"

#include <json/value.h>

namespace vms {
namespace {

enum PageType { kStart = 0, kDevice = 1, kEnd = 2 };

Json::Value Page(PageType type) {
    Json::Value page(Json::objectValue);
    page["pagetype"] = static_cast<int>(type);
    return page;
}

}  // namespace

std::string SearchStartPage() {
    return Page(kStart).toStyledString();
}

std::string SearchDevicePage(const __tagTvSearchDeviceParam& device) {
    Json::Value entry(Json::objectValue);
    entry["name"] = device.name;
    entry["ip"] = device.ip;
    entry["mac"] = device.mac;
    entry["port"] = device.port;
    entry["devtype"] = device.devtype;
    entry["uctype"] = device.uctype;
    entry["ver"] = device.ver;
    entry["ptype"] = device.ptype;
    entry["channelnum"] = device.channelnum;
    entry["sn"] = device.sn;
    Json::Value page = Page(kDevice);
    page["devs"].append(entry);
    return page.toStyledString();
}

std::string SearchEndPage() {
    return Page(kEnd).toStyledString();
}

}  // namespace vms
