#include "sim/rtsp/RtspServer.h"

#include <stdexcept>
#include <string>
#include <thread>

#include <gst/gst.h>
#include <gst/rtsp-server/rtsp-server.h>

#include "sim/media/ClipStore.h"
#include "sim/rtsp/CameraAuth.h"
#include "sim/rtsp/CameraDirectory.h"
#include "sim/rtsp/CameraMounts.h"
#include "sim/rtsp/ClipFactory.h"

namespace vms::sim {

namespace {

constexpr int kCleanupSeconds = 5;

struct ObjectDeleter {
    void operator()(gpointer object) const { g_object_unref(object); }
};

template <class T>
using Object = std::unique_ptr<T, ObjectDeleter>;

void Count(const CameraDirectory* directory, const GstRTSPContext* context, const char* event) {
    const char* path = context->uri ? context->uri->abspath : nullptr;
    if (Camera* camera = directory->Find(path ? path : "").camera)
        camera->stats().CountRtsp(event);
}

void OnDescribe(GstRTSPClient*, GstRTSPContext* context, gpointer directory) {
    Count(static_cast<CameraDirectory*>(directory), context, "describe");
}

void OnPlay(GstRTSPClient*, GstRTSPContext* context, gpointer directory) {
    Count(static_cast<CameraDirectory*>(directory), context, "play");
}

void OnTeardown(GstRTSPClient*, GstRTSPContext* context, gpointer directory) {
    Count(static_cast<CameraDirectory*>(directory), context, "teardown");
}

void OnClient(GstRTSPServer*, GstRTSPClient* client, gpointer directory) {
    g_signal_connect(client, "describe-request", G_CALLBACK(OnDescribe), directory);
    g_signal_connect(client, "play-request", G_CALLBACK(OnPlay), directory);
    g_signal_connect(client, "teardown-request", G_CALLBACK(OnTeardown), directory);
}

GstRTSPFilterResult DropClient(GstRTSPServer*, GstRTSPClient*, gpointer) {
    return GST_RTSP_FILTER_REMOVE;
}

// Viewers that vanish without a word leave sessions behind.
gboolean CleanUpSessions(gpointer server) {
    const Object<GstRTSPSessionPool> pool(
        gst_rtsp_server_get_session_pool(static_cast<GstRTSPServer*>(server)));
    gst_rtsp_session_pool_cleanup(pool.get());
    return G_SOURCE_CONTINUE;
}

gboolean QuitLoop(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_REMOVE;
}

}  // namespace

class RtspServer::Impl {
public:
    Impl(const RtspOptions& options, const std::vector<std::unique_ptr<Camera>>& cameras)
        : directory_(cameras),
          server_(gst_rtsp_server_new()),
          context_(g_main_context_new(), g_main_context_unref),
          loop_(g_main_loop_new(context_.get(), FALSE), g_main_loop_unref) {
        gst_rtsp_server_set_address(server_.get(), options.bind.c_str());
        gst_rtsp_server_set_service(server_.get(), std::to_string(options.port).c_str());
        const Object<GstRTSPAuth> auth(NewCameraAuth(directory_, options.basic));
        gst_rtsp_server_set_auth(server_.get(), auth.get());
        Mount(LoadClips(options.mediaCache));
        g_signal_connect(server_.get(), "client-connected", G_CALLBACK(OnClient), &directory_);
        Attach(options);
        thread_ = std::thread([this] { Run(); });
    }

    ~Impl() {
        gst_rtsp_server_client_filter(server_.get(), DropClient, nullptr);
        g_main_context_invoke(context_.get(), QuitLoop, loop_.get());
        thread_.join();
        for (GSource* source : {listening_, cleanup_}) {
            g_source_destroy(source);
            g_source_unref(source);
        }
    }

    uint16_t port() const {
        return static_cast<uint16_t>(gst_rtsp_server_get_bound_port(server_.get()));
    }

private:
    void Mount(const ClipMap& clips) {
        const Object<GstRTSPMountPoints> mounts(NewCameraMounts(directory_));
        for (const auto& [kind, clip] : clips) {
            const std::string path = std::string("/") + FormatOf(kind).name;
            gst_rtsp_mount_points_add_factory(mounts.get(), path.c_str(), NewClipFactory(clip));
        }
        gst_rtsp_server_set_mount_points(server_.get(), mounts.get());
    }

    void Attach(const RtspOptions& options) {
        GError* error = nullptr;
        listening_ = gst_rtsp_server_create_source(server_.get(), nullptr, &error);
        if (listening_ == nullptr) {
            const std::string problem = error ? error->message : "unknown error";
            g_clear_error(&error);
            throw std::runtime_error("RTSP port " + std::to_string(options.port) + ": " + problem);
        }
        g_source_attach(listening_, context_.get());
        cleanup_ = g_timeout_source_new_seconds(kCleanupSeconds);
        g_source_set_callback(cleanup_, CleanUpSessions, server_.get(), nullptr);
        g_source_attach(cleanup_, context_.get());
    }

    void Run() {
        g_main_context_push_thread_default(context_.get());
        g_main_loop_run(loop_.get());
        g_main_context_pop_thread_default(context_.get());
    }

    CameraDirectory directory_;
    Object<GstRTSPServer> server_;
    std::unique_ptr<GMainContext, decltype(&g_main_context_unref)> context_;
    std::unique_ptr<GMainLoop, decltype(&g_main_loop_unref)> loop_;
    GSource* listening_ = nullptr;
    GSource* cleanup_ = nullptr;
    std::thread thread_;
};

RtspServer::RtspServer(const RtspOptions& options,
                       const std::vector<std::unique_ptr<Camera>>& cameras) {
    gst_init(nullptr, nullptr);
    impl_ = std::make_unique<Impl>(options, cameras);
}

RtspServer::~RtspServer() = default;

uint16_t RtspServer::port() const {
    return impl_->port();
}

}  // namespace vms::sim
