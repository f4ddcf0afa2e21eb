#include "host/http/HttpServer.h"

#include <utility>

#include "host/http/HttpSession.h"

namespace vms::host {

class HttpServer::Impl {
public:
    Impl(HttpRouter router, HttpGate gate, BodyBudget& budget, ILogHandler& log,
         const HttpSettings& settings)
        : context_(new HttpContext{std::move(router),
                                   std::move(gate),
                                   budget,
                                   log,
                                   settings,
                                   std::make_shared<HttpPlaces>(settings.connections),
                                   {settings.threads}}) {}

    void Serve(std::unique_ptr<Wire> wire, IoThread& io) {
        std::make_shared<HttpSession>(context_, std::move(wire), io)->Start();
    }

    void Stop() {
        context_->places->Close();
        context_->places->WaitUntilClosed();
        context_->pool.stop();
        context_->pool.join();
    }

    size_t Connections() const { return context_->places->Taken(); }

private:
    const std::shared_ptr<HttpContext> context_;
};

HttpServer::HttpServer(HttpRouter router, HttpGate gate, BodyBudget& budget, ILogHandler& log,
                       const HttpSettings& settings)
    : impl_(std::make_shared<Impl>(std::move(router), std::move(gate), budget, log, settings)) {}

HttpServer::~HttpServer() {
    Stop();
}

void HttpServer::Serve(std::unique_ptr<Wire> wire, IoThread& io) {
    impl_->Serve(std::move(wire), io);
}

void HttpServer::Stop() {
    impl_->Stop();
}

size_t HttpServer::Connections() const {
    return impl_->Connections();
}

}  // namespace vms::host
