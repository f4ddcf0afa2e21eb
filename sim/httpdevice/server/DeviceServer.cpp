#include "sim/httpdevice/server/DeviceServer.h"

#include <chrono>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ssl/context.hpp>

#include "sim/httpdevice/server/DeviceListener.h"
#include "sim/httpdevice/server/SelfSigned.h"

namespace vms::sim::httpdevice {

namespace {

namespace asio = boost::asio;

constexpr std::chrono::seconds kRefreshTime{5};

bool Succeeds(std::future<bool> result) {
    return result.wait_for(kRefreshTime) == std::future_status::ready && result.get();
}

}  // namespace

struct DeviceServer::Impl {
    struct Entry {
        explicit Entry(Device& device) : owner{device, {}} {}

        ConnectionOwner owner;
        std::vector<std::unique_ptr<DeviceListener>> listeners;
    };

    explicit Impl(unsigned count) : threadCount(count) {
        const SelfSigned identity = MakeSelfSigned("devsim");
        tls.use_private_key(asio::buffer(identity.keyPem), asio::ssl::context::pem);
        tls.use_certificate(asio::buffer(identity.certificatePem), asio::ssl::context::pem);
    }

    const unsigned threadCount;
    asio::ssl::context tls{asio::ssl::context::tls_server};
    // What connections refer to stands before the context that owns them.
    std::vector<std::unique_ptr<Entry>> entries;
    asio::io_context context;
    std::vector<std::thread> threads;
};

DeviceServer::DeviceServer(unsigned threads) : impl_(std::make_unique<Impl>(threads)) {}

DeviceServer::~DeviceServer() {
    Stop();
    for (const auto& entry : impl_->entries)
        entry->listeners.clear();
}

DeviceServer::Ports DeviceServer::Open(Device& device) {
    const DeviceConfig& config = device.config();
    auto entry = std::make_unique<Impl::Entry>(device);
    Ports ports;
    entry->listeners.push_back(std::make_unique<DeviceListener>(
        impl_->context, config.bind, config.port, nullptr, entry->owner));
    ports.http = entry->listeners.back()->port();
    if (config.https) {
        entry->listeners.push_back(std::make_unique<DeviceListener>(
            impl_->context, config.bind, config.httpsPort, &impl_->tls, entry->owner));
        ports.https = entry->listeners.back()->port();
    }
    impl_->entries.push_back(std::move(entry));
    return ports;
}

void DeviceServer::Start() {
    for (unsigned i = 0; i < impl_->threadCount; ++i)
        impl_->threads.emplace_back([this] {
            const auto guard = asio::make_work_guard(impl_->context);
            impl_->context.run();
        });
    for (size_t i = 0; i < impl_->entries.size(); ++i) {
        if (!Refresh(i))
            throw std::runtime_error("cannot listen for device " + std::to_string(i));
    }
}

void DeviceServer::Stop() {
    impl_->context.stop();
    for (std::thread& thread : impl_->threads)
        thread.join();
    impl_->threads.clear();
}

void DeviceServer::DropConnections(size_t device) {
    impl_->entries[device]->owner.connections.DropAll();
}

bool DeviceServer::Refresh(size_t device) {
    bool done = true;
    for (const auto& listener : impl_->entries[device]->listeners)
        done = Succeeds(listener->Refresh()) && done;
    return done;
}

}  // namespace vms::sim::httpdevice
