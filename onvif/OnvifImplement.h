#pragma once

#include <string>

struct soap;

/// The SOAP side of an ONVIF camera: three authenticated exchanges (GetCapabilities, GetProfiles,
/// GetStreamUri), each on a connection of its own, lead from an address to an RTSP URI.
///
/// Stateless, thread-safe. Blocking: an exchange takes at most 3 s to connect, 5 s per stalled read
/// and 10 s in all; answers beyond 1 MiB, 64 levels or 1,024 occurrences of an element are refused.
/// Every failure ends as empty text. Null texts count as empty. Texts are UTF-8 both ways; bytes
/// that are none pass as they are.
class OnvifImplement {
public:
    /// "http://ip:port/onvif/device_service". @param port 1..65535
    std::string GetDeviceUri(const char* ip, int port);

    /// Installs time-outs and a fresh UsernameToken digest (WS-Security UsernameToken Profile 1.0)
    /// in the context's own memory. @return 0, or -1 for a null context
    int InitSoapHeader(soap* context, const char* username, const char* password);

    /// Address of the Media service: as the camera reports it, or the conventional path on the
    /// given address when it reports no Media capability.
    std::string GetMediaUri(const char* ip, int port, const char* username, const char* password);

    /// Token of the profile at a position. @param index position in the camera's order, >= 0
    std::string GetMediaToken(const std::string& mediaUri, const char* ip, int port,
                              const char* username, const char* password, int index);

    /// RTSP URI of the profile at a position, exactly as the camera wrote it.
    std::string GetStreamUri(const char* ip, int port, const char* username, const char* password,
                             int index);

    std::string Itostr(int value);
};
