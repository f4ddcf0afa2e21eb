#include "host/state/State.h"

namespace vms::host {
namespace {

std::optional<StateFolder> FolderAt(const std::string& path) {
    return path.empty() ? std::nullopt : std::optional<StateFolder>(path);
}

}  // namespace

State::State(const std::string& folder, const DatabaseSettings& settings)
    : folder_(FolderAt(folder)), database_(folder_ ? &*folder_ : nullptr, settings) {}

std::string State::Key(const std::string& name, size_t length) const {
    return folder_ ? folder_->Key(name, length) : RandomKey(length);
}

}  // namespace vms::host
