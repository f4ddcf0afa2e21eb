#pragma once

#include <list>
#include <string>

#include "module/DeviceInfoRecords.h"
#include "module/Export.h"
#include "module/RecordSearchRecords.h"

/// The HTTP/JSON API of cameras (IPC) and recorders (NVR): where a request goes, what it says, what
/// its answer means, and the secrets of a login. Sending is the driver's business.
///
/// Stateless and thread-safe; nothing blocks. Null texts count as "". Nothing throws, lack of
/// memory apart. Whatever bytes a device answers with, a parser ends with 0 or -1.
class VMS_DEVICEACCESS_API Tavero_Http_Encode {
public:
    // URLs. The address is inserted as it is, the port as a decimal number, whatever its value.
    // Where there is no choice of scheme it is http. Those marked "cut" end after 255 bytes.

    static std::string GetUrlLoginCapabilities(const char* ip, int port, bool https);
    static std::string GetUrlLogin(const char* ip, int port, bool https);  ///< cut
    static std::string GetUrlLogout(const char* ip, int port, bool https);
    static std::string GetUrlHeartbeat(const char* ip, int port, bool https);
    static std::string GetUrlOsdGet(const char* ip, int port);               ///< cut
    static std::string GetUrlVersion(const char* ip, int port);              ///< cut
    static std::string GetUrlDevInfo(const char* ip, int port, bool https);  ///< cut
    static std::string GetUrlDeviceCapabilities_Ipc_Type(const char* ip, int port, bool https);
    static std::string GetUrlDeviceCapabilities_Ipc_Ver1(const char* ip, int port, bool https);
    static std::string GetUrlDeviceCapabilities_Ipc_Ver6(const char* ip, int port, bool https);
    static std::string GetUrlRecordEncode(const char* ip, int port, bool https);
    static std::string GetUrlVideoEncode(const char* ip, int port, bool https);
    static std::string GetUrlSystemTime(const char* ip, int port, bool https);
    static std::string GetUrlSearchRecord(const char* ip, int port, bool https);
    static std::string GetUrlPtzControl_Ipc(const char* ip, int port);           ///< cut
    static std::string GetUrlPtzControl_Nvr(const char* ip, int port);           ///< cut
    static std::string GetUrlPtzZoomFocus_Ipc(const char* ip, int port);         ///< cut
    static std::string GetUrlPtzCruise_Ipc(const char* ip, int port);            ///< cut
    static std::string GetUrlPtzCruise_Nvr(const char* ip, int port);            ///< cut
    static std::string GetUrlUserManager(const char* ip, int port, bool https);  ///< cut
    static std::string GetUrlCapability(const char* ip, int port, bool https);   ///< cut
    static std::string GetManualAlarm_Ipc(const char* ip, int port);             ///< cut
    static std::string GetManualAlarm_NVR(const char* ip, int port);             ///< cut

    // Request bodies. Those of the session are compact and take their texts verbatim: a quote in a
    // user name spoils the JSON. Channel name and record search are escaped and indented.

    static std::string GetLoginCapabilitiesRequestData(const char* username);
    /// @param password the proof from TV_Sha256_1Encode or TV_QUORIX_Sha256_Encode
    static std::string GetLoginRequestData(const char* username, const char* password,
                                           const char* sessionID, const char* datetime);
    static std::string GetLogoutRequestData(const char* cookie);
    static std::string GetHeartbeatRequestData(const char* cookie);
    static std::string GetOsdGetRequestData();
    static std::string GetVersionRequestData();
    /// An array, ["set", {"devName": ...}]: what the devices accept.
    static std::string SetChannelNameRequestData(const char* devName);
    /// @param fileType mask: 1 schedule, 2 motion, 16 alarm
    /// @param startTime,endTime s since the Unix epoch, UTC
    static std::string GetSearchRecordRequestData_Ipc(int fileType, int startTime, int endTime);
    /// As above for one recorder channel; asks for one page of up to 4,000 recordings.
    static std::string GetSearchRecordRequestData_Nvr(int channel, int streamNo, int fileType,
                                                      int startTime, int endTime);

    // Login secrets. If the cryptographic library refuses SHA-256 the results are empty.

    /// The password proof of the first family: 64 lower-case hexadecimal digits and a NUL.
    /// @param out at least 65 bytes; null = nothing happens
    /// @param iterations extra rounds, used only with `enableIteration`; 0 or less adds none. It
    ///        usually comes from the device and costs a fraction of a microsecond each: the
    ///        caller bounds it
    static void TV_Sha256_1Encode(char* out, const char* first, const char* second,
                                  const char* password, const char* third, const char* fourth,
                                  bool enableIteration, int iterations);
    /// The password proof of the second family, from `first`, `second` and `password` alone.
    /// @param out at least 65 bytes; null = nothing happens
    static void TV_QUORIX_Sha256_Encode(char* out, const char* first, const char* second,
                                        const char* password, const char* third, const char* fourth,
                                        bool enableIteration, int iterations);
    /// The AES key shared with a logged-in device: 16 hexadecimal digits, used as text.
    /// @param iterations as for the proof
    static std::string GetAesKey(const char* password, const char* second, const char* first,
                                 bool enableIteration, int iterations);
    /// The same of the second family, from `password` and `first` alone.
    static std::string GetQUORIXAesKey(const char* password, const char* ignored, const char* first,
                                       bool enableIteration, int iterations);

    /// Base64 (RFC 4648, section 4) with padding and a NUL behind it.
    /// @param len bytes at `in`; 0 or less, or a null `in`, gives ""
    /// @param out 4 * ((len + 2) / 3) + 1 bytes: 64 are enough for up to 45 bytes of input. Null =
    ///        nothing happens
    static void Base64Encode(const char* in, int len, char* out);
    /// One byte for each two characters (and for a single last one), each pair read as strtol reads
    /// base 16: what does not begin with a digit is 0.
    static std::string Hex2Str(std::string hex);

    // Answers. An answer counts when its "code" is the number 0; otherwise the result is -1 and no
    // output is written. Of an answer that counts, members that are missing or of another type are
    // passed over and leave their output alone. Record lists are cleared in any case.

    static int DeSerializeCode(const char* text);
    static int DeSerializeHeartbeat(const char* text);
    /// @return 0 if the answer has the parameters' object, whatever is in it
    static int DeSerializeLoginCapabilities(const char* text, std::string& challenge,
                                            std::string& salt, std::string& sessionID,
                                            int& iterations, bool& enableIteration);
    /// @param session "Api-Session", or "cookie" if there is no other
    /// @return 0 if either was there
    static int DeSerializeLogin(const char* text, std::string& session);
    /// @return 0 with and without a text
    static int DeSerializeOsdGet(const char* text, std::string& osdText);
    /// @return 0 if either was there
    static int DeSerializeVersion(const char* text, std::string& firmwareVersion,
                                  std::string& devName);
    /// Parameters of the first encryption scheme that the device names.
    /// @return 0 if they were there, whatever is in them
    static int DeSerializeCapability(const char* text, std::string& salt, int& iterations,
                                     bool& enableIteration);
    /// The camera's form: sizes are texts, as the times are.
    static int DeSerializeSearchRecord_Ipc(const char* text, std::list<__tagTvRecordFile>& files);
    /// The recorder's form: sizes are numbers.
    static int DeSerializeSearchRecord_Nvr(const char* text, std::list<__tagTvRecordFile>& files);
    /// Rights in the first layout, which knows remote flags 0, 1, 3, 4 and 5; the others are left
    /// alone. Channels are appended. A mask with a sign or of more than 64 bits grants nothing.
    static int DeSerializePermission(const char* text, __tagTvDevicePermission& permission);
    /// Rights in the second layout: all eight remote flags, and other bits for the channels'.
    static int DeSerializePermissionV2(const char* text, __tagTvDevicePermission& permission);
};
