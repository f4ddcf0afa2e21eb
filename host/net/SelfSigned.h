#pragma once

#include <string>
#include <vector>

#include "host/net/TlsCredentials.h"

namespace vms::host {

/// The names and numeric addresses by which this machine may be asked, for a certificate:
/// localhost, loopback, its name, its addresses, and what the configuration adds; each once.
std::vector<std::string> OwnNames(const std::vector<std::string>& further);

/// A certificate that this host has signed itself: an EC P-256 key, valid for ten years.
/// @throws HostError
TlsCredentials MakeSelfSigned(const std::vector<std::string>& names);

/// The one that is kept in a folder, which only this user can read; made when there is none, and
/// again once its time is over or nearly so. @throws HostError
TlsCredentials KeepSelfSigned(const std::string& folder, const std::vector<std::string>& names);

}  // namespace vms::host
