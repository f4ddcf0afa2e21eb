// Every endpoint of the API in one table, and the builders over it.
#include "deviceapi/Tavero_Http_Encode.h"
#include "deviceapi/core/ApiEndpoint.h"

namespace {

using vms::ApiEndpoint;
using vms::MakeUrl;
using enum vms::UrlLength;

// clang-format off
constexpr ApiEndpoint kLoginCapabilities   {"/api/session/login-capabilities",   kAny};
constexpr ApiEndpoint kLogin               {"/api/session/login",                k255};
constexpr ApiEndpoint kLogout              {"/api/session/logout",               kAny};
constexpr ApiEndpoint kHeartbeat           {"/api/session/heart-beat",           kAny};
constexpr ApiEndpoint kOsdGet              {"/api/image/osd",                    k255};
constexpr ApiEndpoint kDeviceInfo          {"/api/system/device-info",           k255};
constexpr ApiEndpoint kPlatformCapabilities{"/api/system/platform-capabilities", kAny};
constexpr ApiEndpoint kCapabilitiesVer1    {"/api/system/capabilities",          kAny};
constexpr ApiEndpoint kCapabilitiesVer6    {"/api/system/capability",            kAny};
constexpr ApiEndpoint kRecordEncode        {"/api/record/record-encode-info",    kAny};
constexpr ApiEndpoint kVideoEncode         {"/api/video/video-encode",           kAny};
constexpr ApiEndpoint kSystemTime          {"/api/system/system-time",           kAny};
constexpr ApiEndpoint kSearchRecord        {"/api/record/record-list",           kAny};
constexpr ApiEndpoint kPtzControlIpc       {"/api/image/ptz-ctrl",               k255};
constexpr ApiEndpoint kPtzControlNvr       {"/api/channel/ptz-control",          k255};
constexpr ApiEndpoint kPtzZoomFocusIpc     {"/api/image/zoom-focus",             k255};
constexpr ApiEndpoint kPtzCruiseIpc        {"/api/image/ptz-cruise",             k255};
constexpr ApiEndpoint kPtzCruiseNvr        {"/api/channel/ptz-cruise",           k255};
constexpr ApiEndpoint kUserManager         {"/api/system/user-manager",          k255};
constexpr ApiEndpoint kSecurityCapability  {"/api/security/capability",          k255};
constexpr ApiEndpoint kManualAlarmIpc      {"/api/event/manual-alarm",           k255};
constexpr ApiEndpoint kManualAlarmNvr      {"/api/channel/manual-alarm",         k255};
// clang-format on

}  // namespace

std::string Tavero_Http_Encode::GetUrlLoginCapabilities(const char* ip, int port, bool https) {
    return MakeUrl(kLoginCapabilities, ip, port, https);
}

std::string Tavero_Http_Encode::GetUrlLogin(const char* ip, int port, bool https) {
    return MakeUrl(kLogin, ip, port, https);
}

std::string Tavero_Http_Encode::GetUrlLogout(const char* ip, int port, bool https) {
    return MakeUrl(kLogout, ip, port, https);
}

std::string Tavero_Http_Encode::GetUrlHeartbeat(const char* ip, int port, bool https) {
    return MakeUrl(kHeartbeat, ip, port, https);
}

std::string Tavero_Http_Encode::GetUrlOsdGet(const char* ip, int port) {
    return MakeUrl(kOsdGet, ip, port, false);
}

std::string Tavero_Http_Encode::GetUrlVersion(const char* ip, int port) {
    return MakeUrl(kDeviceInfo, ip, port, false);
}

std::string Tavero_Http_Encode::GetUrlDevInfo(const char* ip, int port, bool https) {
    return MakeUrl(kDeviceInfo, ip, port, https);
}

std::string Tavero_Http_Encode::GetUrlDeviceCapabilities_Ipc_Type(const char* ip, int port,
                                                                  bool https) {
    return MakeUrl(kPlatformCapabilities, ip, port, https);
}

std::string Tavero_Http_Encode::GetUrlDeviceCapabilities_Ipc_Ver1(const char* ip, int port,
                                                                  bool https) {
    return MakeUrl(kCapabilitiesVer1, ip, port, https);
}

std::string Tavero_Http_Encode::GetUrlDeviceCapabilities_Ipc_Ver6(const char* ip, int port,
                                                                  bool https) {
    return MakeUrl(kCapabilitiesVer6, ip, port, https);
}

std::string Tavero_Http_Encode::GetUrlRecordEncode(const char* ip, int port, bool https) {
    return MakeUrl(kRecordEncode, ip, port, https);
}

std::string Tavero_Http_Encode::GetUrlVideoEncode(const char* ip, int port, bool https) {
    return MakeUrl(kVideoEncode, ip, port, https);
}

std::string Tavero_Http_Encode::GetUrlSystemTime(const char* ip, int port, bool https) {
    return MakeUrl(kSystemTime, ip, port, https);
}

std::string Tavero_Http_Encode::GetUrlSearchRecord(const char* ip, int port, bool https) {
    return MakeUrl(kSearchRecord, ip, port, https);
}

std::string Tavero_Http_Encode::GetUrlPtzControl_Ipc(const char* ip, int port) {
    return MakeUrl(kPtzControlIpc, ip, port, false);
}

std::string Tavero_Http_Encode::GetUrlPtzControl_Nvr(const char* ip, int port) {
    return MakeUrl(kPtzControlNvr, ip, port, false);
}

std::string Tavero_Http_Encode::GetUrlPtzZoomFocus_Ipc(const char* ip, int port) {
    return MakeUrl(kPtzZoomFocusIpc, ip, port, false);
}

std::string Tavero_Http_Encode::GetUrlPtzCruise_Ipc(const char* ip, int port) {
    return MakeUrl(kPtzCruiseIpc, ip, port, false);
}

std::string Tavero_Http_Encode::GetUrlPtzCruise_Nvr(const char* ip, int port) {
    return MakeUrl(kPtzCruiseNvr, ip, port, false);
}

std::string Tavero_Http_Encode::GetUrlUserManager(const char* ip, int port, bool https) {
    return MakeUrl(kUserManager, ip, port, https);
}

std::string Tavero_Http_Encode::GetUrlCapability(const char* ip, int port, bool https) {
    return MakeUrl(kSecurityCapability, ip, port, https);
}

std::string Tavero_Http_Encode::GetManualAlarm_Ipc(const char* ip, int port) {
    return MakeUrl(kManualAlarmIpc, ip, port, false);
}

std::string Tavero_Http_Encode::GetManualAlarm_NVR(const char* ip, int port) {
    return MakeUrl(kManualAlarmNvr, ip, port, false);
}
