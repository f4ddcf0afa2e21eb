#pragma once

class ILogHandler;

/// What the WebSocket clients have to say, sent to the host's sink when there is one. Thread-safe;
/// a sink that throws is ignored.
namespace vms::ClientLog {

/// @param sink not owned, null = silent
void SetSink(ILogHandler* sink) noexcept;

void HandlerThrew(const char* what) noexcept;
void CannotConnect(const char* why) noexcept;
void IoThreadCaught(const char* what) noexcept;
/// Says, the first time there is a sink to hear it, that certificates are not checked.
void TlsIsUnverified() noexcept;

}  // namespace vms::ClientLog
