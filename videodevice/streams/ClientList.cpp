#include "videodevice/streams/ClientList.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "videodevice/streams/CacheLine.h"

namespace vms {
namespace {

/// An array whose references are counted in a cache line of its own: every media unit does.
struct alignas(kCacheLine) Array {
    ClientList::Ids ids;
};

ClientList::Snapshot SnapshotOf(ClientList::Ids ids) {
    const auto array = std::make_shared<const Array>(Array{std::move(ids)});
    return {array, &array->ids};
}

}  // namespace

void ClientList::Append(long long connectionId) {
    Ids ids;
    if (ids_ != nullptr) {
        ids.reserve(ids_->size() + 1);
        ids = *ids_;
    }
    ids.push_back(connectionId);
    ids_ = SnapshotOf(std::move(ids));
}

bool ClientList::Remove(long long connectionId) {
    if (ids_ == nullptr || std::find(ids_->begin(), ids_->end(), connectionId) == ids_->end())
        return false;
    Ids ids;
    ids.reserve(ids_->size());
    std::copy_if(ids_->begin(), ids_->end(), std::back_inserter(ids),
                 [connectionId](long long id) { return id != connectionId; });
    ids_ = ids.empty() ? nullptr : SnapshotOf(std::move(ids));
    return true;
}

void ClientList::Assign(long long connectionId) {
    ids_ = SnapshotOf({connectionId});
}

}  // namespace vms
