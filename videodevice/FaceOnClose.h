#pragma once

/// Passed to IStreamCallback::MsgCallback by a face source whose connection has closed; compared by
/// address, never by content.
extern __attribute__((visibility("default"))) const char g_faceOnClose[];
