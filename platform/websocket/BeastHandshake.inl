#pragma once

#include <cstring>

#include "platform/websocket/BeastConnection.h"
#include "platform/websocket/TlsContext.h"

namespace vms {

template <class Stream>
void BeastConnection<Stream>::Begin() {
    if (phase_ != Phase::kIdle)
        return;
    phase_ = Phase::kConnecting;
    ArmTimer(request_.timeout);
    attempt_ = std::make_unique<Attempt>();
    attempt_->addresses = HostResolver::Literal(request_.host, request_.port);
    if (attempt_->addresses.empty())
        LookUp();
    else
        ConnectNext();
}

/// The timer holds the connection meanwhile.
template <class Stream>
void BeastConnection<Stream>::LookUp() {
    const auto answer = [weak = this->weak_from_this()](const HostResolver::Addresses& addresses,
                                                        const char* error) {
        if (const auto self = weak.lock()) {
            asio::post(self->executor_,
                       [self, addresses, error] { self->OnResolved(addresses, error); });
        }
    };
    if (!io_.Resolver().Resolve(request_.host, request_.port, lookUpWanted_, answer))
        EndUnconnected("look-up", "no thread");
}

template <class Stream>
void BeastConnection<Stream>::OnResolved(const HostResolver::Addresses& addresses,
                                         const char* error) {
    if (phase_ != Phase::kConnecting)
        return;
    if (error != nullptr)
        return EndUnconnected("look-up", error);
    attempt_->addresses = addresses;
    ConnectNext();
}

template <class Stream>
void BeastConnection<Stream>::ConnectNext() {
    const ResolvedAddress& address = attempt_->addresses[attempt_->next++];
    asio::ip::tcp::endpoint endpoint;
    std::memcpy(endpoint.data(), &address.address, address.length);
    endpoint.resize(address.length);
    LowestLayer().async_connect(endpoint, Bind(&BeastConnection::OnTcp));
}

template <class Stream>
void BeastConnection<Stream>::OnTcp(Code error) {
    if (phase_ != Phase::kConnecting)
        return;
    Code ignored;
    if (!error) {
        LowestLayer().set_option(asio::ip::tcp::no_delay(true), ignored);
        return SecureThenUpgrade();
    }
    if (attempt_->next == attempt_->addresses.size())
        return EndUnconnected("connect", error.message());
    LowestLayer().close(ignored);
    ConnectNext();
}

template <class Stream>
void BeastConnection<Stream>::SecureThenUpgrade() {
    if constexpr (kSecure) {
        SSL* const tls = ws_.next_layer().native_handle();
        if (!PrepareTls(tls, request_.host, settings_.verifyCertificates))
            return EndUnconnected("TLS", "unusable host name");
        const auto done = [self = this->shared_from_this(), tls](Code error) {
            if (self->phase_ != Phase::kConnecting)
                return;
            const std::string& wanted = self->settings_.certificateFingerprint;
            if (!error && !wanted.empty() && !HasFingerprint(tls, wanted))
                return self->EndUnconnected("TLS", "not the certificate that was expected");
            if (!error)
                return self->Upgrade();
            const char* const refused =
                self->settings_.verifyCertificates ? CertificateError(tls) : nullptr;
            self->EndUnconnected("TLS", refused != nullptr ? refused : error.message());
        };
        ws_.next_layer().async_handshake(asio::ssl::stream_base::client, done);
    } else {
        Upgrade();
    }
}

template <class Stream>
void BeastConnection<Stream>::Upgrade() {
    constexpr std::size_t kWriteBuffer = 1024;  // requests are short
    ws_.read_message_max(settings_.maxMessageBytes);
    ws_.write_buffer_bytes(kWriteBuffer);
    ws_.auto_fragment(false);
    ws_.set_option(websocket::stream_base::decorator([this](websocket::request_type& request) {
        if (!request_.protocol.empty())
            request.set(beast::http::field::sec_websocket_protocol, request_.protocol);
    }));
    ws_.async_handshake(attempt_->response, request_.Authority(), request_.path,
                        Bind(&BeastConnection::OnUpgraded));
}

template <class Stream>
void BeastConnection<Stream>::OnUpgraded(Code error) {
    if (phase_ != Phase::kConnecting)
        return;
    if (error == websocket::error::upgrade_declined) {
        return EndUnconnected("upgrade",
                              "HTTP status " + std::to_string(attempt_->response.result_int()));
    }
    if (error)
        return EndUnconnected("upgrade", error.message());
    if (!ProtocolIsOurs())
        return EndUnconnected("upgrade", "a sub-protocol that was not offered");
    Open();
}

/// A server need not choose a sub-protocol, but must not invent one.
template <class Stream>
bool BeastConnection<Stream>::ProtocolIsOurs() const {
    const auto chosen = attempt_->response[beast::http::field::sec_websocket_protocol];
    return chosen.empty() || chosen == request_.protocol;
}

template <class Stream>
void BeastConnection<Stream>::EndUnconnected(const char* step, const std::string& reason) {
    End(kEndedNotConnected, (step + (": " + reason)).c_str());
}

}  // namespace vms
