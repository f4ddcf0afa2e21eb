#include "host/http/GrantWatch.h"

#include <boost/asio/post.hpp>

namespace vms::host {

void GrantWatch::Watch(const std::shared_ptr<Connection>& connection,
                       const std::shared_ptr<Grant>& grant) {
    if (latest_->lock() == grant)
        return;
    *latest_ = grant;
    if (grant == nullptr)
        return;
    grant->OnEnd(connection, [weak = std::weak_ptr<Connection>(connection), latest = latest_,
                              ended = std::weak_ptr<Grant>(grant)] {
        const auto watched = weak.lock();
        if (watched == nullptr)
            return;
        boost::asio::post(watched->Io().Context(), [watched, latest, ended] {
            if (latest->lock() == ended.lock())
                watched->AskToEnd("access has ended");
        });
    });
}

}  // namespace vms::host
