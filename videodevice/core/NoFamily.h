#pragma once

class IVideoDeviceFactory;

namespace vms {

/// What a module without a device family works on: a factory that does not start and makes nothing,
/// so that every command ends as it does when a factory fails. Stateless, lives for ever.
IVideoDeviceFactory& NoFamily();

}  // namespace vms
