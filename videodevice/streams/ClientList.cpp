#include "videodevice/streams/ClientList.h"

#include <algorithm>

namespace vms {

void ClientList::Append(long long connectionId) {
    auto ids = std::make_shared<std::vector<long long>>();
    if (ids_ != nullptr) {
        ids->reserve(ids_->size() + 1);
        *ids = *ids_;
    }
    ids->push_back(connectionId);
    ids_ = std::move(ids);
}

bool ClientList::Remove(long long connectionId) {
    if (ids_ == nullptr || std::find(ids_->begin(), ids_->end(), connectionId) == ids_->end())
        return false;
    auto ids = std::make_shared<std::vector<long long>>();
    ids->reserve(ids_->size());
    std::copy_if(ids_->begin(), ids_->end(), std::back_inserter(*ids),
                 [connectionId](long long id) { return id != connectionId; });
    ids_ = ids->empty() ? nullptr : std::move(ids);
    return true;
}

void ClientList::Assign(long long connectionId) {
    ids_ = std::make_shared<std::vector<long long>>(1, connectionId);
}

}  // namespace vms
