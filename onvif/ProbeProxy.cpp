#include "onvif/ProbeProxy.h"

#include <chrono>

#include "onvif/SoapSession.h"
#include "soapH.h"

namespace vms {
namespace {

constexpr int kReceiveTimeoutSeconds = 1;
constexpr unsigned int kBodyLevel = 2;
constexpr const char* kIpv4Endpoint = "soap.udp://239.255.255.250:3702";
constexpr const char* kIpv6Endpoint = "soap.udp://[FF02:0:0:0:0:0:0:c]:3702";
constexpr const char* kReplyTo = "http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous";
constexpr const char* kTo = "urn:schemas-xmlsoap-org:ws:2005:04:discovery";
constexpr const char* kAction = "http://schemas.xmlsoap.org/ws/2005/04/discovery/Probe";
constexpr const char* kTypes = "dn:NetworkVideoTransmitter";

const Namespace kDiscoveryNamespaces[] = {
    {"SOAP-ENV", "http://www.w3.org/2003/05/soap-envelope",
     "http://schemas.xmlsoap.org/soap/envelope/", nullptr},
    {"wsdd", "http://schemas.xmlsoap.org/ws/2005/04/discovery", nullptr, nullptr},
    {"wsa", "http://schemas.xmlsoap.org/ws/2004/08/addressing", nullptr, nullptr},
    {"dn", "http://www.onvif.org/ver10/network/wsdl", nullptr, nullptr},
    {nullptr, nullptr, nullptr, nullptr}};

/// The plug-ins of the SOAP layer use the first two of the context's extension slots.
constexpr int kSocketSlot = 3;

DiscoverySocket& SocketOf(soap* context) {
    return *static_cast<DiscoverySocket*>(context->data[kSocketSlot]);
}

SOAP_SOCKET OpenHook(soap* context, const char*, const char*, int) {
    return SocketOf(context).Descriptor();
}

int SendHook(soap* context, const char* data, size_t length) {
    return SocketOf(context).Multicast(data, length) ? SOAP_OK : SOAP_UDP_ERROR;
}

size_t ReceiveHook(soap* context, char* buffer, size_t capacity) {
    return SocketOf(context).Read(buffer, capacity);
}

/// The socket outlives each message; its owner closes it.
int CloseHook(soap* context) {
    context->socket = SOAP_INVALID_SOCKET;
    return SOAP_OK;
}

/// What stands in the Body: nothing, matches, or something else, which is skipped.
int ReadBody(soap* context, wsdd__ProbeMatchesType*& matches) {
    if (soap_peek_element(context) == SOAP_NO_TAG)
        return context->error = SOAP_OK;
    __wsdd__ProbeMatches body;
    soap_default___wsdd__ProbeMatches(context, &body);
    soap_get___wsdd__ProbeMatches(context, &body, "-wsdd:ProbeMatches", nullptr);
    if (context->error == SOAP_TAG_MISMATCH && context->level == kBodyLevel)
        context->error = SOAP_OK;
    matches = body.wsdd__ProbeMatches;
    return context->error;
}

/// As the generated recv_ProbeMatches, to which an empty Body is an error.
bool ReadMessage(soap* context, wsdd__ProbeMatchesType*& matches) {
    soap_begin(context);
    const bool read =
        soap_begin_recv(context) == SOAP_OK && soap_envelope_begin_in(context) == SOAP_OK &&
        soap_recv_header(context) == SOAP_OK && soap_body_begin_in(context) == SOAP_OK &&
        ReadBody(context, matches) == SOAP_OK && soap_body_end_in(context) == SOAP_OK &&
        soap_envelope_end_in(context) == SOAP_OK && soap_end_recv(context) == SOAP_OK;
    if (!read)
        matches = nullptr;
    return read;
}

}  // namespace

ProbeProxy::ProbeProxy(DiscoverySocket& socket, const char* localAddress, bool ipv6)
    : socket_(socket), ipv6_(ipv6), proxy_(SOAP_IO_UDP) {
    soap* context = proxy_.soap;
    PrepareSoapContext(context);
    context->recv_timeout = kReceiveTimeoutSeconds;
    context->user = const_cast<char*>(localAddress);
    context->data[kSocketSlot] = &socket;
    context->fopen = OpenHook;
    context->fsend = SendHook;
    context->frecv = ReceiveHook;
    context->fclose = CloseHook;
    soap_set_namespaces(context, kDiscoveryNamespaces);
}

ProbeProxy::~ProbeProxy() {
    proxy_.soap->data[kSocketSlot] = nullptr;
    proxy_.destroy();
}

void ProbeProxy::InstallHeader(const std::string& messageId) {
    soap* context = proxy_.soap;
    proxy_.soap_noheader();
    auto* header = soap_new_SOAP_ENV__Header(context, -1);
    soap_default_SOAP_ENV__Header(context, header);
    header->wsa__MessageID = soap_strdup(context, messageId.c_str());
    header->wsa__ReplyTo = soap_new_wsa__EndpointReferenceType(context, -1);
    soap_default_wsa__EndpointReferenceType(context, header->wsa__ReplyTo);
    header->wsa__ReplyTo->Address = soap_strdup(context, kReplyTo);
    header->wsa__To = soap_strdup(context, kTo);
    header->wsa__Action = soap_strdup(context, kAction);
    context->header = header;
}

bool ProbeProxy::SendProbe(const std::string& messageId) {
    InstallHeader(messageId);
    std::string types = kTypes;
    wsdd__ProbeType probe;
    soap_default_wsdd__ProbeType(proxy_.soap, &probe);
    probe.Types = types.data();
    return proxy_.send_Probe(ipv6_ ? kIpv6Endpoint : kIpv4Endpoint, kAction, &probe) == SOAP_OK;
}

bool ProbeProxy::Receive(wsdd__ProbeMatchesType*& matches) {
    matches = nullptr;
    soap* context = proxy_.soap;
    soap_destroy(context);
    soap_end(context);
    if (!socket_.NextDatagram(std::chrono::seconds(context->recv_timeout)))
        return false;
    context->socket = socket_.Descriptor();
    const bool read = ReadMessage(context, matches);
    soap_closesock(context);
    return read;
}

}  // namespace vms
