#pragma once

#include <string_view>

namespace vms::sim::ns {

inline constexpr std::string_view Soap12 = "http://www.w3.org/2003/05/soap-envelope";
inline constexpr std::string_view Soap11 = "http://schemas.xmlsoap.org/soap/envelope/";
inline constexpr std::string_view Addressing2004 =
    "http://schemas.xmlsoap.org/ws/2004/08/addressing";
inline constexpr std::string_view Addressing2005 = "http://www.w3.org/2005/08/addressing";
inline constexpr std::string_view Discovery = "http://schemas.xmlsoap.org/ws/2005/04/discovery";
inline constexpr std::string_view Network = "http://www.onvif.org/ver10/network/wsdl";
inline constexpr std::string_view Device = "http://www.onvif.org/ver10/device/wsdl";
inline constexpr std::string_view Media = "http://www.onvif.org/ver10/media/wsdl";
inline constexpr std::string_view Schema = "http://www.onvif.org/ver10/schema";
inline constexpr std::string_view Error = "http://www.onvif.org/ver10/error";
inline constexpr std::string_view Security =
    "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-secext-1.0.xsd";
inline constexpr std::string_view Utility =
    "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-utility-1.0.xsd";
inline constexpr std::string_view Saml2 = "urn:oasis:names:tc:SAML:2.0:assertion";
inline constexpr std::string_view Vendor = "http://camera.example/ver20/extension";

}  // namespace vms::sim::ns
