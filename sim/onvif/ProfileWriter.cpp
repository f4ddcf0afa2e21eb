#include "sim/onvif/ProfileWriter.h"

#include <string>

#include "sim/xml/Namespaces.h"

namespace vms::sim {

namespace {

using ns::Schema;

void Number(XmlWriter& out, std::string_view element, int value) {
    out.Leaf(Schema, element, std::to_string(value));
}

void WriteVideoSource(XmlWriter& out) {
    XmlScope source(out, Schema, "VideoSourceConfiguration");
    out.Attribute("token", "VideoSourceConfig_1");
    out.Leaf(Schema, "Name", "VideoSourceConfig");
    Number(out, "UseCount", 3);
    out.Leaf(Schema, "SourceToken", "VideoSource_1");
    {
        XmlScope bounds(out, Schema, "Bounds");
        out.Attribute("x", "0");
        out.Attribute("y", "0");
        out.Attribute("width", "1280");
        out.Attribute("height", "720");
    }
    XmlScope extension(out, Schema, "Extension");
    XmlScope rotate(out, Schema, "Rotate");
    out.Leaf(Schema, "Mode", "OFF");
}

void WriteAudio(XmlWriter& out) {
    {
        XmlScope source(out, Schema, "AudioSourceConfiguration");
        out.Attribute("token", "AudioSourceConfig_1");
        out.Leaf(Schema, "Name", "AudioSourceConfig");
        Number(out, "UseCount", 3);
        out.Leaf(Schema, "SourceToken", "AudioSource_1");
    }
    XmlScope encoder(out, Schema, "AudioEncoderConfiguration");
    out.Attribute("token", "AudioEncoder_1");
    out.Leaf(Schema, "Name", "AudioEncoder");
    Number(out, "UseCount", 3);
    out.Leaf(Schema, "Encoding", "G711U");  // not one of the enumeration's values
    Number(out, "Bitrate", 64);
    Number(out, "SampleRate", 8);
    out.Leaf(Schema, "SessionTimeout", "PT60S");
}

void WriteMulticast(XmlWriter& out) {
    XmlScope multicast(out, Schema, "Multicast");
    {
        XmlScope address(out, Schema, "Address");
        out.Leaf(Schema, "Type", "IPv4");
        out.Leaf(Schema, "IPv4Address", "0.0.0.0");
    }
    Number(out, "Port", 0);
    Number(out, "TTL", 1);
    out.Leaf(Schema, "AutoStart", "false");
}

void WriteCodec(XmlWriter& out, const ClipFormat& format) {
    if (!format.h265) {
        XmlScope codec(out, Schema, "H264");
        Number(out, "GovLength", format.framesPerSecond * 2);
        out.Leaf(Schema, "H264Profile", "Main");
        return;
    }
    // The schema knows no H.265; cameras send an element of their own all the same.
    XmlScope codec(out, ns::Vendor, "H265");
    out.Leaf(ns::Vendor, "GovLength", std::to_string(format.framesPerSecond * 2));
}

void WriteVideoEncoder(XmlWriter& out, const StreamProfile& profile) {
    const ClipFormat format = FormatOf(profile.clip);
    XmlScope encoder(out, Schema, "VideoEncoderConfiguration");
    out.Attribute("token", "VideoEncoder_" + profile.token);
    out.Attribute("encoding", "H.26x");
    out.Leaf(Schema, "Name", "VideoEncoder_" + profile.name);
    Number(out, "UseCount", 1);
    out.Leaf(Schema, "Encoding", format.h265 ? "H265" : "H264");
    {
        XmlScope resolution(out, Schema, "Resolution");
        Number(out, "Width", format.width);
        Number(out, "Height", format.height);
    }
    out.Leaf(Schema, "Quality", "3.000000e+00");
    {
        XmlScope control(out, Schema, "RateControl");
        Number(out, "FrameRateLimit", format.framesPerSecond);
        Number(out, "EncodingInterval", 1);
        Number(out, "BitrateLimit", format.kilobitsPerSecond);
    }
    WriteCodec(out, format);
    WriteMulticast(out);
    out.Leaf(Schema, "SessionTimeout", "PT60S");
}

void WritePtz(XmlWriter& out) {
    XmlScope ptz(out, Schema, "PTZConfiguration");
    out.Attribute("token", "PTZToken");
    out.Leaf(Schema, "Name", "PTZ");
    Number(out, "UseCount", 3);
    out.Leaf(Schema, "NodeToken", "PTZNODETOKEN");
    out.Leaf(Schema, "DefaultContinuousPanTiltVelocitySpace",
             "http://www.onvif.org/ver10/tptz/PanTiltSpaces/VelocityGenericSpace");
    out.Leaf(Schema, "DefaultPTZTimeout", "PT300S");
    XmlScope limits(out, Schema, "PanTiltLimits");
    XmlScope range(out, Schema, "Range");
    out.Leaf(Schema, "URI", "http://www.onvif.org/ver10/tptz/PanTiltSpaces/PositionGenericSpace");
    XmlScope x(out, Schema, "XRange");
    out.Leaf(Schema, "Min", "-INF");
    out.Leaf(Schema, "Max", "INF");
}

void WriteMetadata(XmlWriter& out) {
    XmlScope metadata(out, Schema, "MetadataConfiguration");
    out.Attribute("token", "MetadataToken");
    out.Leaf(Schema, "Name", "metadata");
    Number(out, "UseCount", 3);
    {
        XmlScope status(out, Schema, "PTZStatus");
        out.Leaf(Schema, "Status", "false");
        out.Leaf(Schema, "Position", "false");
    }
    WriteMulticast(out);
    out.Leaf(Schema, "SessionTimeout", "PT60S");
}

void WriteExtension(XmlWriter& out, const StreamProfile& profile) {
    XmlScope extension(out, Schema, "Extension");
    XmlScope vendor(out, ns::Vendor, "SmartCodec");
    out.Attribute(ns::Vendor, "token", "decoy");
    out.Leaf(ns::Vendor, "Profiles", "decoy of " + profile.token);
    out.Leaf(ns::Vendor, "Empty", "");
}

}  // namespace

void WriteProfile(XmlWriter& out, const Camera& camera, const StreamProfile& profile,
                  std::string_view element) {
    if (camera.personality().comments)
        out.Comment("profile " + profile.name);
    XmlScope scope(out, ns::Media, element);
    out.Attribute("fixed", "true");
    out.Attribute("token", profile.token);
    out.Leaf(Schema, "Name", profile.name);
    WriteVideoSource(out);
    WriteAudio(out);
    WriteVideoEncoder(out, profile);
    WritePtz(out);
    WriteMetadata(out);
    WriteExtension(out, profile);
}

}  // namespace vms::sim
