#include "sim/media/ClipEncoder.h"

#include <memory>
#include <stdexcept>
#include <string>

#include <gst/app/gstappsink.h>
#include <gst/gst.h>

namespace vms::sim {

namespace {

constexpr int kSeconds = 4;

struct ObjectDeleter {
    void operator()(void* object) const { gst_object_unref(object); }
};
using Element = std::unique_ptr<GstElement, ObjectDeleter>;

struct SampleDeleter {
    void operator()(GstSample* sample) const { gst_sample_unref(sample); }
};
using Sample = std::unique_ptr<GstSample, SampleDeleter>;

std::string EncoderText(const ClipFormat& format) {
    const std::string rate = std::to_string(format.kilobitsPerSecond);
    const std::string group = std::to_string(format.framesPerSecond);
    if (format.h265)
        return "x265enc speed-preset=ultrafast tune=zerolatency bitrate=" + rate +
               " option-string=\"bframes=0:keyint=" + group + ":min-keyint=" + group +
               ":scenecut=0:open-gop=0:repeat-headers=1:log-level=0\" ! h265parse "
               "config-interval=-1"
               " ! video/x-h265,stream-format=byte-stream,alignment=au";
    // One slice a frame: payloaders repeat the parameter sets before every key-frame slice.
    return "x264enc speed-preset=veryfast bframes=0 sliced-threads=false bitrate=" + rate +
           " key-int-max=" + group +
           " ! video/x-h264,profile=main ! h264parse config-interval=-1"
           " ! video/x-h264,stream-format=byte-stream,alignment=au";
}

std::string PipelineText(const ClipFormat& format) {
    const std::string fps = std::to_string(format.framesPerSecond);
    return "videotestsrc num-buffers=" + std::to_string(format.framesPerSecond * kSeconds) +
           " pattern=" + (format.h265 ? "smpte75" : "smpte") +
           " ! video/x-raw,format=I420,width=" + std::to_string(format.width) +
           ",height=" + std::to_string(format.height) + ",framerate=" + fps + "/1" +
           " ! textoverlay valignment=bottom text=" + format.name +
           " ! timeoverlay halignment=left ! clockoverlay halignment=right ! " +
           EncoderText(format) + " ! appsink name=sink sync=false";
}

Element Parse(const std::string& text) {
    GError* error = nullptr;
    Element pipeline(gst_parse_launch(text.c_str(), &error));
    if (error == nullptr)
        return pipeline;
    const std::string problem = error->message;
    g_error_free(error);
    throw std::runtime_error("media pipeline: " + problem);
}

Clip::Frame ToFrame(GstSample* sample) {
    GstBuffer* buffer = gst_sample_get_buffer(sample);
    Clip::Frame frame;
    frame.bytes.resize(gst_buffer_get_size(buffer));
    gst_buffer_extract(buffer, 0, frame.bytes.data(), frame.bytes.size());
    frame.key = !GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT);
    return frame;
}

std::vector<Clip::Frame> Pull(GstElement* pipeline) {
    const Element sink(gst_bin_get_by_name(GST_BIN(pipeline), "sink"));
    std::vector<Clip::Frame> frames;
    while (const Sample sample{gst_app_sink_pull_sample(GST_APP_SINK(sink.get()))})
        frames.push_back(ToFrame(sample.get()));
    return frames;
}

}  // namespace

Clip EncodeClip(ClipKind kind) {
    const ClipFormat format = FormatOf(kind);
    const Element pipeline = Parse(PipelineText(format));
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    Clip clip{kind, Pull(pipeline.get())};
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    const auto expected = static_cast<size_t>(format.framesPerSecond) * kSeconds;
    if (clip.frames.size() != expected || !clip.frames.front().key)
        throw std::runtime_error(std::string("encoding ") + format.name + " failed");
    return clip;
}

}  // namespace vms::sim
