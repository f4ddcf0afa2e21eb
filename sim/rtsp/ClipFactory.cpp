#include "sim/rtsp/ClipFactory.h"

#include <string>
#include <utility>

#include "sim/rtsp/CameraAuth.h"
#include "sim/rtsp/LoopFeeder.h"

namespace vms::sim {

namespace {

using SharedClip = std::shared_ptr<const Clip>;

std::string Launch(const Clip& clip) {
    const std::string codec = FormatOf(clip.kind).h265 ? "h265" : "h264";
    return "( appsrc name=source format=time is-live=true ! " + codec + "parse ! rtp" + codec +
           "pay name=pay0 pt=96 )";
}

void OnConfigure(GstRTSPMediaFactory*, GstRTSPMedia* media, gpointer data) {
    GstElement* bin = gst_rtsp_media_get_element(media);
    GstElement* source = gst_bin_get_by_name_recurse_up(GST_BIN(bin), "source");
    FeedInLoop(source, *static_cast<SharedClip*>(data));
    gst_object_unref(source);
    gst_object_unref(bin);
}

void DeleteClip(gpointer data, GClosure*) {
    delete static_cast<SharedClip*>(data);
}

void AllowViewers(GstRTSPMediaFactory* factory) {
    GstRTSPPermissions* permissions = gst_rtsp_permissions_new();
    gst_rtsp_permissions_add_role(permissions, kViewerRole, GST_RTSP_PERM_MEDIA_FACTORY_ACCESS,
                                  G_TYPE_BOOLEAN, TRUE, GST_RTSP_PERM_MEDIA_FACTORY_CONSTRUCT,
                                  G_TYPE_BOOLEAN, TRUE, nullptr);
    gst_rtsp_media_factory_set_permissions(factory, permissions);
    gst_rtsp_permissions_unref(permissions);
}

}  // namespace

GstRTSPMediaFactory* NewClipFactory(SharedClip clip) {
    GstRTSPMediaFactory* factory = gst_rtsp_media_factory_new();
    gst_rtsp_media_factory_set_launch(factory, Launch(*clip).c_str());
    gst_rtsp_media_factory_set_shared(factory, FALSE);
    gst_rtsp_media_factory_set_protocols(
        factory,
        static_cast<GstRTSPLowerTrans>(GST_RTSP_LOWER_TRANS_UDP | GST_RTSP_LOWER_TRANS_TCP));
    AllowViewers(factory);
    g_signal_connect_data(factory, "media-configure", G_CALLBACK(OnConfigure),
                          new SharedClip(std::move(clip)), DeleteClip, GConnectFlags(0));
    return factory;
}

}  // namespace vms::sim
